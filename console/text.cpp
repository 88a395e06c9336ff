// Making texts printable.
#include "console/text.h"

#include <algorithm>
#include <cstddef>

namespace pcsim::host {

namespace {

// The length of the printable character at the begin of 'text', or 0.
size_t characterAt(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) return (first >= ' ' && first != 0x7F) || first == '\t' ? 1 : 0;
    if (first < 0xC2 || first > 0xF4) return 0;
    const size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (text.size() < size) return 0;
    const bool goesOn =
        std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(size),
                    [](char byte) { return (byte & 0xC0) == 0x80; });
    // U+0080 to U+009F are control characters as well.
    const bool control = first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
    return goesOn && !control ? size : 0;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t size = characterAt(text);
        if (size == 0)
            result += '?';
        else
            result += text.substr(0, size);
        text.remove_prefix(std::max<size_t>(size, 1));
    }
    return result;
}

}  // namespace pcsim::host
