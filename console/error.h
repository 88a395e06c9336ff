// What a command or a boot step throws when it can't be done: one line for the user that says what
// was wrong and what would be right. The doors print it and end with a non-zero exit status.
#ifndef PCSIM_CONSOLE_ERROR_H
#define PCSIM_CONSOLE_ERROR_H

#include <fmt/core.h>

#include <stdexcept>
#include <string>

namespace pcsim {

class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void failFormatted(fmt::string_view format, fmt::format_args arguments);

// Throws a CommandError with a formatted line.
template <typename... Arguments>
[[noreturn]] void fail(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    failFormatted(format, fmt::make_format_args(arguments...));
}

}  // namespace pcsim

#endif
