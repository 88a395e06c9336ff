// How many words the arguments of a printf format take. Nothing else says how long a
// call without a prototype is.
#include <cctype>
#include <cstring>

#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

#ifdef __i386__
constexpr uint32_t kWideWords = 2;
uint32_t fractionWords(bool isWide) {
    return isWide ? 3 : 2;
}
#else
constexpr uint32_t kWideWords = 1;
uint32_t fractionWords(bool) {
    return 0;  // they are in registers of their own
}
#endif

// One conversion, behind its percent sign.
class Conversion {
public:
    explicit Conversion(const char* text) : at_(text) {}

    uint32_t words() {
        skip("-+ #0'I");
        number();
        if (*at_ == '.') {
            ++at_;
            number();
        }
        const char* const size = at_;
        skip("hlLqjzt");
        const bool isLong = at_ - size >= 2 && std::strncmp(size, "ll", 2) == 0;
        const bool isWide = isLong || (at_ > size && std::strchr("Lqj", *size) != nullptr);
        if (*at_ == '\0') return words_;
        const char kind = *at_++;
        if (std::strchr("aAeEfFgG", kind) != nullptr) return words_ + fractionWords(isWide);
        if (std::strchr("diouxX", kind) != nullptr) return words_ + (isWide ? kWideWords : 1);
        return words_ + (std::strchr("%m", kind) != nullptr ? 0 : 1);
    }
    const char* end() const { return at_; }

private:
    void skip(const char* any) {
        while (*at_ != '\0' && std::strchr(any, *at_) != nullptr) ++at_;
    }
    void number() {
        if (*at_ == '*') {
            ++words_;
            ++at_;
        }
        while (std::isdigit(static_cast<unsigned char>(*at_)) != 0) ++at_;
    }

    const char* at_;
    uint32_t words_ = 0;
};

}  // namespace

uint32_t formatWords(const char* format) {
    uint32_t words = 0;
    while ((format = std::strchr(format, '%')) != nullptr) {
        Conversion conversion(format + 1);
        words += conversion.words();
        format = conversion.end();
    }
    return words;
}

}  // namespace pcsim::probe
