// Answers by the types of results.
#include "probe/rules/answers.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "console/error.h"
#include "console/values.h"

namespace pcsim::probe {

namespace {

bool readHex(const std::string& digits, uint64_t& value) {
    constexpr size_t kMost = 8;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, value, 16);
    return error == std::errc() && last == end && digits.size() <= kMost;
}

int64_t numberOf(const std::string& text, int64_t least, int64_t most) {
    const bool negative = text.starts_with("-");
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    uint64_t read = 0;
    const bool is = hex ? readHex(text.substr(2), read)
                        : readNumber(text.substr(negative ? 1 : 0), uint64_t{1} << 32, read);
    const int64_t value = negative ? -static_cast<int64_t>(read) : static_cast<int64_t>(read);
    if (!is || value < least || value > most)
        fail("returns '{}' is not a number from {} to {}", text, least, most);
    return value;
}

}  // namespace

uint64_t failureOf(const Function& function) {
    return function.result->kind == Kind::kPointer || function.result->kind == Kind::kVoid
               ? 0
               : ~uint64_t{0};
}

uint64_t resultOf(const std::string& operation, const Function& function, const std::string& text) {
    const Type& type = *function.result;
    if (type.kind == Kind::kVoid)
        fail("{} returns nothing; leave 'returns' out, and it isn't called", operation);
    if (type.kind == Kind::kPointer) {
        if (text != "null" && text != "0")
            fail("{} returns a pointer; expected returns null", operation);
        return 0;
    }
    // Codes are told as signed numbers whatever the type is.
    const uint32_t bits = 8 * std::min<uint32_t>(type.size, sizeof(uint32_t));
    const int64_t least = -(int64_t{1} << (bits - 1));
    const int64_t most = (int64_t{1} << (type.kind == Kind::kUnsigned ? bits : bits - 1)) - 1;
    const int64_t value = numberOf(text, least, most);
    return static_cast<uint64_t>(value);
}

int errorOf(const Function& function) {
    return function.result->kind == Kind::kPointer ? ENOMEM : EIO;
}

}  // namespace pcsim::probe
