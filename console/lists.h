// Values that may be several at once: "1:1-4,2:1", "10-20,30", "all". A verb that acts on one of
// them is run for each in turn.
#ifndef PCSIM_CONSOLE_LISTS_H
#define PCSIM_CONSOLE_LISTS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/grammar.h"

namespace pcsim {

// Why 'word' is no list of values of 'type', or nothing.
std::optional<std::string> listProblem(const std::string& type, const std::string& name,
                                       const std::string& word);
// The form of such a list.
std::string listForm(const std::string& type);

// One of the commands that a command with lists stands for.
struct Single {
    Values values;
    std::string label;  // its values out of the lists: "10 1:1"
};

// All values of an element, for the word "all".
using AllOf = std::function<Words(const Element&)>;

// What a command stands for: itself when it has no list. Throws a CommandError.
std::vector<Single> singlesOf(const Pattern& pattern, Values values, const AllOf& allOf);

}  // namespace pcsim

#endif
