// Making texts printable, and taking them apart.
#include "console/text.h"

#include <algorithm>
#include <cstddef>

namespace pcsim {

namespace {

// Whether these are the first two bytes of one, beyond ASCII.
bool isCharacter(unsigned char first, unsigned char second) {
    switch (first) {
        case 0xC2:  // U+0080 to U+009F are control characters as well
        case 0xE0:  // what is below would be another's longer form, here
            return second >= 0xA0;
        case 0xED:  // halves of pairs of UTF-16
            return second < 0xA0;
        case 0xF0:  // and here
            return second >= 0x90;
        case 0xF4:  // behind U+10FFFF
            return second < 0x90;
        default:
            return true;
    }
}

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
    return goesOn && isCharacter(first, static_cast<unsigned char>(text[1])) ? size : 0;
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

std::string shown(std::string_view word) {
    constexpr size_t kLongest = 40;
    const std::string text = presentable(std::string(word.substr(0, kLongest)));
    return word.size() > kLongest ? text + std::string(kLeftOut) : text;
}

std::string presentable(std::string text) {
    constexpr size_t kLongest = 160;
    if (text.size() > kLongest) {
        text.resize(kLongest);
        text.append(kLeftOut);
    }
    return printable(text);
}

std::string counted(uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string_view takeWord(std::string_view& line) {
    constexpr std::string_view kBlanks = " \t\r\v\f";
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const size_t end = std::min(line.find_first_of(kBlanks), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(end);
    return word;
}

}  // namespace pcsim
