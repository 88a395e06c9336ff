// Holding texts against what they must be.
#include "tests/fuzz/text/support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "console/text.h"

namespace pcsim::fuzz {

void demand(bool holds, const char* what, std::string_view of) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n%.*s\n", what, static_cast<int>(of.size()), of.data());
    std::abort();
}

namespace {

// The number of a character's bytes behind the first, and the lowest character of so many.
struct Form {
    size_t behind;
    uint32_t lowest;
};

bool formOf(uint8_t first, Form& form) {
    if (first < 0x80)
        form = {0, 0};
    else if (first >> 5 == 6)
        form = {1, 0x80};
    else if (first >> 4 == 14)
        form = {2, 0x800};
    else if (first >> 3 == 30)
        form = {3, 0x10000};
    else
        return false;
    return true;
}

}  // namespace

bool isUtf8(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const auto first = static_cast<uint8_t>(text[at++]);
        Form form{};
        if (!formOf(first, form) || form.behind > text.size() - at) return false;
        uint32_t character = form.behind == 0 ? first : first & (0x3Fu >> form.behind);
        for (size_t i = 0; i < form.behind; ++i, ++at) {
            const auto byte = static_cast<uint8_t>(text[at]);
            if (byte >> 6 != 2) return false;
            character = character << 6 | (byte & 0x3Fu);
        }
        const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
        if (character < form.lowest || surrogate || character > 0x10FFFF) return false;
    }
    return true;
}

void demandLine(std::string_view line) {
    demand(!line.empty(), "an error says something");
    demand(isUtf8(line), "what is printed is UTF-8", line);
    for (size_t at = 0; at < line.size(); ++at) {
        const auto byte = static_cast<uint8_t>(line[at]);
        const bool c1 = byte == 0xC2 && static_cast<uint8_t>(line[at + 1]) < 0xA0;
        demand((byte >= ' ' || byte == '\t') && byte != 0x7F && !c1,
               "an error is one line without control characters", line);
    }
}

void demandError(std::string_view message) {
    demandLine(printable(message));
}

uint8_t Bytes::byte() {
    const auto one = take(1);
    return one.empty() ? 0 : one[0];
}

std::span<const uint8_t> Bytes::take(size_t size) {
    const auto taken = bytes_.first(std::min(size, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
}

std::string_view Bytes::rest() {
    const auto all = take(bytes_.size());
    return {reinterpret_cast<const char*>(all.data()), all.size()};
}

}  // namespace pcsim::fuzz
