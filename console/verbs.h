// The verbs of the console: one set for the prompt, -x, -f and every other door.
//
// Whoever has something to command or to show registers verbs here; the console itself has the few
// that its language is made of (session.h). A verb that answers with a report is a 'show': it
// renders as text or JSON and can be asked for single values by 'expect' and 'wait'.
#ifndef PCSIM_CONSOLE_VERBS_H
#define PCSIM_CONSOLE_VERBS_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/error.h"
#include "console/grammar.h"
#include "console/report.h"
#include "console/values.h"

namespace pcsim {

class Session;

// The values of one command, checked for their form already, and the way back to whoever gave it.
// Asking for a value that the verb's pattern doesn't have is a mistake of the verb: it throws a
// std::logic_error that names the value.
class Call {
public:
    explicit Call(Values values) : values_(std::move(values)) {}

    // Whether a value of this name, or of an optional group, was given.
    bool has(const std::string& name) const { return values_.contains(name); }
    // Whether the group that starts with 'word' was given.
    bool given(const std::string& word) const { return has("[" + word + "]"); }
    const std::string& text(const std::string& name) const;
    std::string textOr(const std::string& name, std::string otherwise) const;
    // All values of a name; none when its group was not given.
    const std::vector<std::string>& all(const std::string& name) const;
    // All values of a name with a blank between them.
    std::string joined(const std::string& name) const;

    uint64_t number(const std::string& name) const;
    uint64_t numberOr(const std::string& name, uint64_t otherwise) const;
    uint32_t u32(const std::string& name) const;
    uint16_t vlan(const std::string& name = "vlan") const;
    SlotPort port(const std::string& name = "port") const;

    // For verbs that print lines of their own, or a report before they fail. Null where nobody
    // reads: an 'expect' looks at values alone.
    std::function<void(const std::string&)> print;
    std::function<void(const Report&)> answer;
    // For lines that come after the command is done; whoever gave it may be gone by then.
    std::function<void(const std::string&)> later;
    // Where the command was given; null outside of a session.
    Session* session = nullptr;

private:
    Values values_;
};

struct Verb {
    Pattern pattern;
    std::string help;
    std::string area;                   // what it belongs to, for listings: "ports"
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
        Words words;  // of the command, written out
    };
    // The verb that the words are a command of. Words may be typed as their beginning where only
    // one fits: a whole word goes before a longer one, a value before the beginning of a word.
    // Throws a CommandError that says what would be right.
    Found find(const Words& words) const;

    // What may stand behind words that begin a command.
    struct Next {
        const Element* element;
        const Verb* verb;  // of whose pattern it is
    };
    struct Following {
        std::vector<Next> next;
        const Verb* complete = nullptr;  // the words are a command of it already
        // The first of the words that begins several: 'next' is of all of them.
        std::optional<size_t> unclear;
    };
    // Nothing when the words don't begin any.
    Following following(const Words& words) const;

    // The words that could follow 'words', for completion; "<..>" stands for a value.
    std::vector<std::string> next(const Words& words) const;

    const std::vector<Verb>& all() const { return verbs_; }

    // What the verbs that are registered from here on belong to.
    void begin(std::string area) { area_ = std::move(area); }

private:
    std::string area_ = "console";
    struct Candidate {
        const Verb* verb;
        Match match;
    };
    void add(Verb verb);
    const Verb* findWhole(const Words& words, Values& values) const;
    std::vector<Candidate> candidatesOf(const Words& words, bool preferring) const;
    [[noreturn]] void explain(const Words& words, const std::vector<Candidate>& misses) const;

    std::vector<Verb> verbs_;
    std::map<std::string, std::vector<size_t>, std::less<>> byFirst_;  // word of a command
};

}  // namespace pcsim

#endif
