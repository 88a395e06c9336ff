// One pass over the format.
#include "host/core/quick_print.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace pcsim::host {

namespace {

// What stands between '%' and the letter.
struct Field {
    bool left = false;
    bool zeros = false;
    size_t width = 0;
    size_t precision = SIZE_MAX;
};

class QuickPrinter {
public:
    QuickPrinter(char* text, size_t size, va_list& arguments)
        : text_(text), at_(text), end_(text + size), arguments_(arguments) {}

    bool print(const char* format) {
        for (;;) {
            const char* const from = format;
            while (*format != '\0' && *format != '%') ++format;
            if (!put({}, "", {from, format})) return false;
            if (*format == '\0') return true;
            ++format;
            const Field field = takeField(format);
            if (!printField(field, *format++)) return false;
        }
    }
    int length() const { return static_cast<int>(at_ - text_); }

private:
    struct Piece {
        const char* from;
        const char* to;
        size_t size() const { return static_cast<size_t>(to - from); }
    };

    static bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

    static size_t takeNumber(const char*& format) {
        // Far more than there is room for, and far less than what overflows.
        constexpr size_t kMost = 100000;
        size_t number = 0;
        for (; isDigit(*format); ++format)
            if (number < kMost) number = number * 10 + static_cast<size_t>(*format - '0');
        return number;
    }

    static Field takeField(const char*& format) {
        Field field;
        for (; *format == '-' || *format == '0'; ++format)
            (*format == '-' ? field.left : field.zeros) = true;
        field.width = takeNumber(format);
        if (*format == '.') field.precision = takeNumber(++format);
        return field;
    }

    bool printField(const Field& field, char letter) {
        const bool plain = field.width == 0 && !field.left && !field.zeros;
        const bool precise = field.precision != SIZE_MAX;
        if (letter == 's') return !field.zeros && printText(field, va_arg(arguments_, const char*));
        if (precise) return false;
        switch (letter) {
            case 'd':
            case 'i': {
                const int value = va_arg(arguments_, int);
                const auto size = static_cast<unsigned>(value);
                return printNumber(field, value < 0 ? "-" : "", value < 0 ? 0u - size : size, 10);
            }
            case 'u':
                return printNumber(field, "", va_arg(arguments_, unsigned), 10);
            case 'x':
                return printNumber(field, "", va_arg(arguments_, unsigned), 16);
            case 'c': {
                const char byte = static_cast<char>(va_arg(arguments_, int));
                return !field.zeros && put(field, "", {&byte, &byte + 1});
            }
            case '%':
                return plain && put({}, "", {&letter, &letter + 1});
            default:
                return false;
        }
    }

    bool printText(const Field& field, const char* text) {
        if (text == nullptr) return false;
        return put(field, "", {text, text + strnlen(text, field.precision)});
    }

    bool printNumber(const Field& field, const char* sign, unsigned value, int base) {
        char digits[16];
        return put(field, sign,
                   {digits, std::to_chars(digits, digits + sizeof digits, value, base).ptr});
    }

    // A piece with a sign before it, filled up to the field's width.
    bool put(const Field& field, const char* sign, Piece piece) {
        const size_t signSize = *sign != '\0' ? 1 : 0;
        const size_t size = signSize + piece.size();
        const size_t fill = field.width > size ? field.width - size : 0;
        if (size + fill > static_cast<size_t>(end_ - at_)) return false;
        const bool zeros = field.zeros && !field.left;
        if (!field.left && !zeros) fillUp(fill, ' ');
        if (signSize != 0) *at_++ = *sign;
        if (zeros) fillUp(fill, '0');
        for (; piece.from != piece.to; ++piece.from) *at_++ = *piece.from;
        if (field.left) fillUp(fill, ' ');
        return true;
    }

    void fillUp(size_t count, char with) {
        for (; count > 0; --count) *at_++ = with;
    }

    char* const text_;
    char* at_;
    char* const end_;
    va_list& arguments_;
};

}  // namespace

int quickPrint(char* text, size_t size, const char* format, va_list arguments) {
    va_list taken;
    va_copy(taken, arguments);
    QuickPrinter printer(text, size, taken);
    const bool printed = printer.print(format);
    va_end(taken);
    return printed ? printer.length() : -1;
}

}  // namespace pcsim::host
