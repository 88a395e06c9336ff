// What a value is to be: "is up", "at-least 3", "matches ^1:".
#ifndef PCSIM_CONSOLE_RELATION_H
#define PCSIM_CONSOLE_RELATION_H

#include <optional>
#include <string>

#include "console/regex.h"
#include "console/report.h"
#include "console/words.h"

namespace pcsim {

class Relation {
public:
    // Throws a CommandError when there is no such relation, or nothing can have it to 'wanted'.
    Relation(const std::string& name, std::string wanted);

    // Throws a CommandError when the relation is of numbers and the cell has another value. One
    // without a value is in no relation but 'not'.
    bool holds(const Cell& cell) const;

    // All that there are: "is", "not", ...
    static const Words& names();
    static bool isOne(const std::string& name);

    struct Row;

private:
    const Row* row_;
    std::string wanted_;
    std::optional<Regex> regex_;
};

}  // namespace pcsim

#endif
