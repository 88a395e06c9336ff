// Recorded calls in the words of a trace: what a live one would have said.
#ifndef PCSIM_PROBE_TOOLS_TELLER_H
#define PCSIM_PROBE_TOOLS_TELLER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "probe/record/recording.h"
#include "probe/values/handles.h"

namespace pcsim::probe {

// Handles are named as they are met, so all events are to be told, in order.
class Teller {
public:
    explicit Teller(const Recording& recording);

    // " port 1:3 enable 1", and " -> 0" behind it; "" when there is nothing to tell.
    std::string arguments(size_t call);
    std::string answer(size_t call, size_t returned);
    // The same as JSON objects.
    std::string argumentsJson(size_t call);
    std::string answerJson(size_t call, size_t returned);

    // The index of the call that returns at 'index', or prints; kNone: of none.
    size_t callOf(size_t index) const { return calls_[index]; }

private:
    std::string functionAt(uint32_t address) const;

    const Recording& recording_;
    std::vector<size_t> calls_;
    Handles handles_;
};

// Which events of a recording are told.
using ToldFn = std::function<bool(const Event& call)>;

// Lines as a trace has them, each with its end.
void tellText(const Recording& recording, const ToldFn& told, bool memory,
              const std::function<void(const std::string&)>& print);
// A JSON document for each event.
void tellJson(const Recording& recording, const ToldFn& told,
              const std::function<void(const std::string&)>& print);
// The calls alone, without what was printed.
std::string scriptOf(const Recording& recording);

}  // namespace pcsim::probe

#endif
