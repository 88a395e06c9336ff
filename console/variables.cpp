// Variables, and the verbs that set them.
#include "console/variables.h"

#include "console/error.h"
#include "console/text.h"
#include "console/words.h"

namespace pcsim {

std::optional<std::string> variableProblem(const std::string& name) {
    if (!isVariableName(name))
        return fmt::format(
            "'{}' is no name of a variable; expected letters, digits and _, a digit not first",
            shown(name));
    if (name == Variables::kStatus)
        return fmt::format("'{}' is how the last line has ended; expected another name", name);
    return std::nullopt;
}

const std::string& Variables::operator[](std::string_view name) const {
    const auto found = values_.find(name);
    if (found != values_.end()) return found->second;
    constexpr size_t kMostNames = 20;
    Words names;
    for (const auto& [known, value] : values_) names.push_back(known);
    const bool all = names.size() <= kMostNames;
    if (!all) names.resize(kMostNames);
    failUsage("there is no variable '{}'; expected one of {}{}", shown(name),
              joinWords(names, names.size(), ", "), all ? "" : ", ...");
}

std::optional<std::string> Variables::find(const std::string& name) const {
    const auto found = values_.find(name);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

void Variables::restore(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        values_[name] = *value;
    else
        values_.erase(name);
}

Report Variables::report() const {
    Table table{"variables", "Variables", {{"name", "Name"}, {"value", "Value"}}, {}, "", ""};
    for (const auto& [name, value] : values_)
        table.rows.push_back({name, Cell(Cell(value), printable(value))});
    return table;
}

}  // namespace pcsim
