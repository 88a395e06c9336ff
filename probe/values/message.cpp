// Writing messages piece by piece: a text of a recorded call isn't where the argument points.
#include "probe/values/message.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "probe/values/format.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kLongest = 64 * 1024;
constexpr int kWidest = 500;

std::string printed(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length < 0 ? "?" : text;
}

// A width or precision among the arguments, as far as a line has room for it.
int given(Word word) {
    return std::clamp(static_cast<int>(word), -kWidest, kWidest);
}

// One conversion of a value, with width and precision from the words before it.
template <typename Number>
std::string converted(const FormatPiece& piece, const Word* words, Number value) {
    const std::string format(piece.text);
    const int first = given(words[0]);
    if (piece.stars == 0) return printed(format.c_str(), value);
    if (piece.stars == 1) return printed(format.c_str(), first, value);
    return printed(format.c_str(), first, given(words[1]), value);
}

template <typename Number>
std::string convertedNumber(const FormatPiece& piece, const Word* words) {
    Number value{};
    std::memcpy(&value, words + piece.stars, std::min(sizeof value, piece.words * sizeof(Word)));
    return converted(piece, words, value);
}

std::string convertedText(const FormatPiece& piece, const Word* words, const Memory& memory) {
    const Word address = words[piece.stars];
    if (address == 0) return "(null)";
    int32_t precision = piece.precision;
    if (piece.precisionStar) precision = static_cast<int32_t>(words[piece.stars - 1]);
    const uint32_t limit = precision < 0 ? kLongest : static_cast<uint32_t>(precision);
    const uint32_t bytes = memory.textBytes(address, limit, false);
    const void* const text = bytes == 0 ? nullptr : memory.at(address, bytes, false);
    if (text == nullptr) return limit == 0 ? "" : "?";
    const auto* const characters = static_cast<const char*>(text);
    const std::string copy(characters, strnlen(characters, bytes));
    return converted(piece, words, copy.c_str());
}

std::string pieceText(const FormatPiece& piece, const Word* words, const Memory& memory) {
    if (piece.stars > 2) return "?";
    switch (piece.conversion) {
        case '%':
            return "%";
        case 's':
            return convertedText(piece, words, memory);
        case 'n':
            return "";
        case 'p':
            return "?";
        default:
            break;
    }
    const bool isReal = std::strchr("aAeEfFgG", piece.conversion) != nullptr;
    if (isReal && piece.words == 0) return "?";
    if (isReal && piece.words == 3) return convertedNumber<long double>(piece, words);
    if (isReal) return convertedNumber<double>(piece, words);
    if (std::strchr("diouxXc", piece.conversion) == nullptr) return "?";
    if (piece.isWide) return convertedNumber<uint64_t>(piece, words);
    return convertedNumber<uint32_t>(piece, words);
}

}  // namespace

std::string messageText(const FormatWords& words, const Memory& memory) {
    std::string text;
    std::string_view format = words.format;
    for (uint32_t at = 0; !format.empty();) {
        const FormatPiece piece = takePiece(format);
        const uint32_t needed = piece.stars + piece.words;
        if (piece.isText())
            text += piece.text;
        else if (needed != 0 && (words.words == nullptr || at + needed > words.count))
            text += "?";
        else
            text += pieceText(piece, words.words + at, memory);
        at += needed;
    }
    return text;
}

}  // namespace pcsim::probe
