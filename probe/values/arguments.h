// Makes the words of a call and the memory behind them: what is said of it by name, zeros for all
// else. Outputs get as much room as the interface says that is written, lists as many elements as
// their count or the last one that is named.
#ifndef PCSIM_PROBE_VALUES_ARGUMENTS_H
#define PCSIM_PROBE_VALUES_ARGUMENTS_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"
#include "probe/values/inputs.h"
#include "probe/values/supplies.h"

namespace pcsim::probe {

// A pointer among the arguments, once there is memory behind it.
struct Made {
    std::string_view parameter;
    const Type* type;  // of what is behind it
    char* at;
    uint32_t bytes;
    bool isOutput;
    bool isCell;   // a pointer to something of the library's is in it
    void* before;  // that pointer, as it was made
};

class Arguments {
public:
    // Throws a CommandError where something that is written doesn't fit. 'supplies' is used during
    // the making alone.
    Arguments(std::string_view operation, const Function& function,
              const std::vector<Written>& written, const Supplies& supplies);
    ~Arguments();
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    Word* words() { return words_.data(); }
    const Word* words() const { return words_.data(); }
    uint32_t count() const { return count_; }
    const std::vector<Made>& made() const { return made_; }
    // The call is made: what passes to the callee is no longer here.
    void handedOver() { taken_.clear(); }

private:
    class Maker;

    std::vector<Word> words_;
    uint32_t count_ = 0;
    std::vector<std::unique_ptr<char[]>> memory_;
    std::vector<void*> taken_;  // from malloc, for the callee to free
    std::vector<Made> made_;
};

}  // namespace pcsim::probe

#endif
