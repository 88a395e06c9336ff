// The verbs of the console: one set for the prompt, -x, -f and every other door.
//
// A manager's verbs live beside it and are registered here. A verb that answers with a report is a
// 'show': it renders as text or JSON and can be asked for single values by 'expect' and 'wait'.
#ifndef PCSIM_CONSOLE_VERBS_H
#define PCSIM_CONSOLE_VERBS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/grammar.h"
#include "console/report.h"
#include "console/values.h"
#include "host/machine/machine.h"

namespace pcsim::host {

// The values of one command, checked for their form already.
class Call {
public:
    Call(Machine& owner, Values values) : machine(owner), values_(std::move(values)) {}

    Machine& machine;

    bool has(const std::string& name) const { return values_.contains(name); }
    // Whether the group that starts with 'word' was given.
    bool given(const std::string& word) const { return has("[" + word + "]"); }
    const std::string& text(const std::string& name) const;
    std::string textOr(const std::string& name, std::string otherwise) const;
    const std::vector<std::string>& all(const std::string& name) const;
    // All values of a name with a blank between them.
    std::string joined(const std::string& name) const;

    uint64_t number(const std::string& name) const;
    uint64_t numberOr(const std::string& name, uint64_t otherwise) const;
    uint32_t u32(const std::string& name) const { return parseU32(name, text(name)); }
    uint16_t vlan(const std::string& name = "vlan") const {
        return static_cast<uint16_t>(number(name));
    }
    SlotPort port(const std::string& name = "port") const { return parseSlotPort(text(name)); }

    // For verbs that report progress or several lines of their own.
    std::function<void(const std::string&)> print;

private:
    Values values_;
};

struct Verb {
    Pattern pattern;
    std::string help;
    std::function<Report(Call&)> show;  // a 'show', or
    std::function<void(Call&)> action;  // an action
};

class Verbs {
public:
    void show(const std::string& pattern, const std::string& help,
              std::function<Report(Call&)> show);
    void action(const std::string& pattern, const std::string& help,
                std::function<void(Call&)> action);

    struct Found {
        const Verb* verb;
        Values values;
    };
    // The verb that the words are a command of. Throws a CommandError that says what would be
    // right.
    Found find(const Words& words) const;

    // The words that could follow 'words', for completion; "<..>" stands for a value.
    std::vector<std::string> next(const Words& words) const;

    const std::vector<Verb>& all() const { return verbs_; }

private:
    std::vector<Verb> verbs_;
};

}  // namespace pcsim::host

#endif
