// Variables of a session: names with texts, which stand in its lines as $NAME.
#ifndef PCSIM_CONSOLE_VARIABLES_H
#define PCSIM_CONSOLE_VARIABLES_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "console/report.h"

namespace pcsim {

// Why a line may not set a variable of this name, or nothing.
std::optional<std::string> variableProblem(const std::string& name);

class Variables {
public:
    // Throws a CommandError that lists those there are.
    const std::string& operator[](std::string_view name) const;

    void set(const std::string& name, std::string value) { values_[name] = std::move(value); }
    // Puts back what was before; null: nothing.
    void restore(const std::string& name, const std::optional<std::string>& value);
    std::optional<std::string> find(const std::string& name) const;

    // The code of the last line's error, 0 after a line without one.
    static constexpr const char* kStatus = "status";

    Report report() const;

private:
    std::map<std::string, std::string, std::less<>> values_{{kStatus, "0"}};
};

}  // namespace pcsim

#endif
