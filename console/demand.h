// What 'expect' and 'wait' demand: words, taken apart once and held against the system often.
//
//     event TEXT [count [RELATION] NUMBER]
//     no event TEXT
//     SHOW... -- VALUE RELATION TEXT [and|or VALUE RELATION TEXT]...
//
// 'and' binds tighter than 'or'. A VALUE is a path of the report; behind one that counts rows may
// stand which of them: "count where link is up where speed is 100".
#ifndef PCSIM_CONSOLE_DEMAND_H
#define PCSIM_CONSOLE_DEMAND_H

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "console/relation.h"
#include "console/report.h"
#include "console/words.h"

namespace pcsim {

class Session;

// A value of a report.
class ReportValue {
public:
    // Takes its words from 'at' on. Throws a CommandError.
    ReportValue(const Words& words, size_t& at);

    // Nothing when the report hasn't got it; 'problem' then says what it has.
    std::optional<Cell> in(const Report& report, const std::string& show,
                           std::string& problem) const;
    // As it was written.
    const std::string& text() const { return text_; }

private:
    struct Filter {
        std::string column;
        Relation relation;
    };
    std::optional<Cell> counted(const Table& table, const std::string& show,
                                std::string& problem) const;

    std::string path_, text_;
    std::vector<Filter> filters_;
};

// "SHOW... -- VALUE" in front of others, or alone.
struct Question {
    Words show;
    Words value;  // behind the dashes

    // Nothing when the words are none.
    static std::optional<Question> of(const Words& words);
};

class Demand {
public:
    // Throws a CommandError when the words are no demand.
    explicit Demand(const Words& words);

    // Whether it is met now; otherwise 'found' says what is so. Throws a CommandError when that
    // can't be said.
    bool holds(Session& session, std::string& found) const;

private:
    struct EventText {
        std::string text;
        bool unwanted = false;
        std::optional<Relation> count{};
    };
    struct Condition {
        ReportValue value;
        Relation relation;
    };
    struct Values {
        Words show;
        std::vector<std::vector<Condition>> choices;  // each of conditions that hold together
    };

    static EventText eventOf(Words words);
    static Values valuesOf(const Question& question, const Words& all);
    static bool holds(const EventText& event, Session& session, std::string& found);
    static bool holds(const Values& values, Session& session, std::string& found);

    std::variant<EventText, Values> what_;
};

}  // namespace pcsim

#endif
