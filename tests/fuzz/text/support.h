// What the fuzzers of texts share: how one says that something does not hold, what every line for
// people must be, and bytes of the input as numbers.
#ifndef PCSIM_TESTS_FUZZ_TEXT_SUPPORT_H
#define PCSIM_TESTS_FUZZ_TEXT_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace pcsim::fuzz {

// Ends the run with a line that says what does not hold, and of what.
void demand(bool holds, const char* what, std::string_view of = "");

// Well-formed as the standard says: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text);

// What a door prints of an error: one line with something in it, UTF-8, no control characters.
void demandLine(std::string_view line);
// The same of an error as it was thrown: doors make it printable first.
void demandError(std::string_view message);

// Numbers and pieces off the front of an input; zero and empty at its end.
class Bytes {
public:
    explicit Bytes(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool empty() const { return bytes_.empty(); }
    uint8_t byte();
    // At most so many.
    std::span<const uint8_t> take(size_t size);
    std::string_view rest();

private:
    std::span<const uint8_t> bytes_;
};

}  // namespace pcsim::fuzz

#endif
