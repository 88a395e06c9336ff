// What a printf format takes: which words of its arguments belong to which conversion.
#ifndef PCSIM_PROBE_VALUES_FORMAT_H
#define PCSIM_PROBE_VALUES_FORMAT_H

#include <cstdint>
#include <string_view>

namespace pcsim::probe {

// A piece of a format: text as it stands, or one conversion.
struct FormatPiece {
    std::string_view text;       // as it stands in the format, "%-*s" whole
    char conversion = '\0';      // 's', 'd', ...; NUL for text, '%' for a percent sign
    uint8_t stars = 0;           // words for width and precision, which come first
    uint8_t words = 0;           // words of the value
    bool isWide = false;         // a number of 64 bits
    bool precisionStar = false;  // the last of the stars is the precision
    int32_t precision = -1;      // as written; -1: none
    bool isText() const { return conversion == '\0'; }
};

// Takes the first piece off 'format'.
FormatPiece takePiece(std::string_view& format);

}  // namespace pcsim::probe

#endif
