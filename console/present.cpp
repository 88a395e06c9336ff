// Wrapping of lines.
#include "console/present.h"

#include <fmt/core.h>
#include <sys/ioctl.h>

#include <algorithm>

namespace pcsim {

void appendWrapped(std::string& result, std::string_view text, size_t column, size_t width) {
    size_t lineStart = result.rfind('\n') + 1;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const bool first = at == 0;
        if (!first && result.size() + 1 + end - at > lineStart + width) {
            lineStart = result.size() + 1;
            result += "\n" + std::string(column, ' ');
        } else if (!first) {
            result += ' ';
        }
        result.append(text, at, end - at);
        at = end + 1;
    }
}

size_t widthOf(int descriptor) {
    winsize size{};
    const bool told = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return told ? size.ws_col : kTerminalWidth;
}

std::string wrappedFor(int descriptor, const std::string& line) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return line;
    std::string result;
    appendWrapped(result, line, 2, size.ws_col);
    return result;
}

std::string firstRows(uint64_t shown, uint64_t total, const char* noun, uint64_t highestLimit) {
    return fmt::format("the first {} of {} {}{}", shown, total, noun,
                       shown < highestLimit ? "; 'limit' shows more" : "");
}

}  // namespace pcsim
