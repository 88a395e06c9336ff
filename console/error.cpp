// Throwing of errors, in one place: most of a throw is code that would stand at every caller.
#include "console/error.h"

namespace pcsim {

void failFormatted(ErrorCode code, fmt::string_view format, fmt::format_args arguments) {
    throw CommandError(fmt::vformat(format, arguments), code);
}

std::string rightOf(const std::string& line) {
    const size_t semicolon = line.find("; ");
    if (semicolon == std::string::npos) return "";
    std::string right = line.substr(semicolon + 2);
    constexpr std::string_view kExpected = "expected ";
    if (right.starts_with(kExpected)) right.erase(0, kExpected.size());
    return right;
}

}  // namespace pcsim
