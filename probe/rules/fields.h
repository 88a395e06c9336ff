// What a rule says of a call's values: the conditions it makes on what goes in, and what it changes
// of what comes out. Both are made for one function, whose parameters and records the names in them
// are; a name or a value that doesn't fit throws a CommandError that says what would.
#ifndef PCSIM_PROBE_RULES_FIELDS_H
#define PCSIM_PROBE_RULES_FIELDS_H

#include <functional>
#include <optional>
#include <string>

#include "probe/boundary/call.h"

namespace pcsim::probe {

// "where FIELD VALUE", "where FIELD within PREFIX".
struct Condition {
    std::string field;
    std::string value;
    bool within = false;
};

// "set FIELD VALUE".
struct Change {
    std::string field;
    std::string value;
};

using Test = std::function<bool(const Call&)>;
using Setter = std::function<void(Call&)>;

Test testOf(const Function& function, const Condition& condition);
Setter setterOf(const Function& function, const Change& change);

// What a function answers that fails: -1, a null record; nothing where it returns nothing.
uint64_t failureOf(const Function& function);
// "returns R": a number that the result's type holds, or null.
uint64_t resultOf(const Function& function, const std::string& text);

}  // namespace pcsim::probe

#endif
