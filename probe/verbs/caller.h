// Calls of operations by hand, and what they hand out.
#ifndef PCSIM_PROBE_VERBS_CALLER_H
#define PCSIM_PROBE_VERBS_CALLER_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "console/report.h"
#include "console/words.h"
#include "probe/values/arguments.h"
#include "probe/values/handles.h"
#include "probe/values/tree.h"
#include "probe/verbs/callables.h"
#include "probe/verbs/kept.h"
#include "probe/verbs/operations.h"

namespace pcsim::probe {

class Caller {
public:
    explicit Caller(std::shared_ptr<Callables> callables)
        : owned_(std::move(callables)), callables_(*owned_) {}

    // Calls the operation with what is said of it: NAME VALUE..., in NUMBER, as NAME.
    Report call(const std::string& operation, const Words& said);
    // What there is to say of a call.
    Report about(const std::string& operation) const;
    Report operations(const std::string& table) const;
    Report handles() const;
    void forget(const std::string& name) { kept_.forget(name); }

private:
    class Supply;
    struct Said {
        std::vector<Written> values;
        std::string in, as;
    };

    static Said parse(const std::string& operation, const Words& words);
    void checkName(const TableWord& word, const std::string& name) const;
    std::string numberFor(const TableWord& word, const Said& said,
                          const Arguments& arguments) const;
    void keepAll(const TableWord& word, const Said& said, const Arguments& arguments,
                 uint64_t result);
    void keep(const TableWord& word, const std::vector<std::string>& names, const Type& type,
              void* address);

    const std::shared_ptr<Callables> owned_;
    Callables& callables_;
    Kept kept_;
    Handles handles_;
};

// The report of a call that has been made.
Report reportOf(const TableWord& word, const std::string& number, std::vector<Member> results,
                const std::string& dump);

}  // namespace pcsim::probe

#endif
