// Reading printf formats, as i386 passes their arguments.
#include "probe/values/format.h"

#include <cstring>

namespace pcsim::probe {

namespace {

bool isOneOf(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

uint8_t wordsOf(char conversion, int longs, bool longDouble) {
    if (conversion == '%') return 0;
    if (isOneOf(conversion, "aAeEfFgG")) return longDouble ? 3 : 2;
    return longs >= 2 ? 2 : 1;
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
        longs += c == 'l' ? 1 : isOneOf(c, "jq") ? 2 : 0;
        longDouble |= c == 'L';
    }
    if (at >= format.size()) {  // it ends in the middle of a conversion
        piece.text = format;
        format = {};
        return piece;
    }
    piece.conversion = format[at];
    piece.words = wordsOf(piece.conversion, longs, longDouble);
    piece.text = format.substr(0, at + 1);
    format.remove_prefix(at + 1);
    return piece;
}

}  // namespace pcsim::probe
