// What a command or a boot step throws when it can't be done: one line for the user that says what
// was wrong and what would be right. The doors print it and end with a non-zero exit status.
#ifndef PCSIM_CONSOLE_ERROR_H
#define PCSIM_CONSOLE_ERROR_H

#include <fmt/core.h>

#include <stdexcept>
#include <string>

namespace pcsim {

// What kind of error it is, for programs.
enum class ErrorCode {
    kFailed = 1,       // it could not be done
    kUsage = 2,        // there is no such command, or a value has not the form that it needs
    kUnmet = 3,        // what was expected or waited for is not so
    kInterrupted = 4,  // it was ended from outside
};

class CommandError : public std::runtime_error {
public:
    explicit CommandError(const std::string& line, ErrorCode kind = ErrorCode::kFailed)
        : std::runtime_error(line), code(kind) {}

    ErrorCode code;
    bool told = false;  // it has been handed to whoever gave the line, with all that belongs to it
};

// What would be right, out of a line that says it behind a semicolon: "; expected up or down" is
// "up or down". Empty when it doesn't say.
std::string rightOf(const std::string& line);

[[noreturn]] void failFormatted(ErrorCode code, fmt::string_view format,
                                fmt::format_args arguments);

// Throws a CommandError with a formatted line.
template <typename... Arguments>
[[noreturn]] void fail(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    failFormatted(ErrorCode::kFailed, format, fmt::make_format_args(arguments...));
}

// The same for a line that is no command.
template <typename... Arguments>
[[noreturn]] void failUsage(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    failFormatted(ErrorCode::kUsage, format, fmt::make_format_args(arguments...));
}

}  // namespace pcsim

#endif
