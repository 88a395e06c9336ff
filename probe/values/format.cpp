// Reading printf formats, as this machine's calls pass their arguments.
#include "probe/values/format.h"

#include <cstring>

namespace pcsim::probe {

namespace {

bool isOneOf(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

#ifdef __i386__
constexpr int kWideLongs = 2;  // "ll"; "z" and "t" are as "l"
constexpr uint8_t kFraction = 2, kLongFraction = 3, kWide = 2;
#else
constexpr int kWideLongs = 1;
constexpr uint8_t kFraction = 0, kLongFraction = 0, kWide = 1;  // fractions aren't among the words
#endif

uint8_t wordsOf(char conversion, bool isWide, bool longDouble) {
    if (conversion == '%') return 0;
    if (isOneOf(conversion, "aAeEfFgG")) return longDouble ? kLongFraction : kFraction;
    return isWide ? kWide : 1;
}

}  // namespace

FormatPiece takePiece(std::string_view& format) {
    const size_t start = format.find('%');
    if (start != 0) {
        const FormatPiece piece{.text = format.substr(0, start)};
        format.remove_prefix(piece.text.size());
        return piece;
    }
    FormatPiece piece;
    size_t at = 1;
    int longs = 0;
    bool longDouble = false, inPrecision = false;
    for (; at < format.size() && isOneOf(format[at], "-+ #0123456789.*hljztLqI'"); ++at) {
        const char c = format[at];
        if (c == '.') {
            inPrecision = true;
            piece.precision = 0;
        } else if (c == '*') {
            ++piece.stars;
            piece.precisionStar = inPrecision;
        } else if (inPrecision && c >= '0' && c <= '9' && piece.precision < 1'000'000) {
            piece.precision = piece.precision * 10 + (c - '0');
        }
        longs += isOneOf(c, "lzt") ? 1 : isOneOf(c, "jq") ? 2 : 0;
        longDouble |= c == 'L';
    }
    if (at >= format.size()) {  // it ends in the middle of a conversion
        piece.text = format;
        format = {};
        return piece;
    }
    piece.conversion = format[at];
    piece.isWide = longs >= kWideLongs;
    piece.words = wordsOf(piece.conversion, piece.isWide, longDouble);
    piece.text = format.substr(0, at + 1);
    format.remove_prefix(at + 1);
    return piece;
}

}  // namespace pcsim::probe
