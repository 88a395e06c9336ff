// Quick printing against vsnprintf: the same text, or left to it.
#include "host/core/quick_print.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <random>
#include <string>

namespace {

using pcsim::host::quickPrint;

// What both come to; "-" where the quick one leaves the text to the other.
struct Both {
    std::string quick;
    std::string exact;
};

Both print(size_t size, const char* format, ...) __attribute__((format(printf, 2, 3)));
Both print(size_t size, const char* format, ...) {
    Both both;
    char text[600];
    va_list arguments;
    va_start(arguments, format);
    const int length = quickPrint(text, size, format, arguments);
    both.quick = length < 0 ? "-" : std::string(text, static_cast<size_t>(length));
    const int exactLength = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    both.exact.assign(text, static_cast<size_t>(exactLength));
    return both;
}

#define EXPECT_SAME(...)                           \
    do {                                           \
        const Both both = print(512, __VA_ARGS__); \
        EXPECT_EQ(both.quick, both.exact);         \
    } while (false)

#define EXPECT_LEFT(size, ...) EXPECT_EQ(print(size, __VA_ARGS__).quick, "-")

TEST(QuickPrint, LinesOfDumps) {
    EXPECT_EQ(print(512, "%4d %03d.%03d.%03d.%03d/%2d %06d %02x:%02x %08x\n", 0, 10, 1, 2, 255, 24,
                    4094, 0, 0xAB, 0x10002u)
                  .quick,
              "   0 010.001.002.255/24 004094 00:ab 00010002\n");
    EXPECT_SAME("%-4s %-18s %-15s %-6s %-17s %s\n", "VrId", "Prefix/Mask", "Gateway", "Vlan", "MAC",
                "Port");
    EXPECT_SAME("\ntotal routes = %d\n", 901900);
    EXPECT_SAME("100 %% of %c and %u", 'x', 4294967295u);
    EXPECT_SAME("nothing");
    EXPECT_EQ(print(512, "%s", "").quick, "");
}

TEST(QuickPrint, NumbersOfAllSizesInAllFields) {
    const int values[] = {0, 1, -1, 9, 10, -10, 99, 12345, -12345, INT_MAX, INT_MIN};
    for (const int value : values) {
        const auto word = static_cast<unsigned>(value);
        EXPECT_SAME("[%d] [%i] [%u] [%x]", value, value, word, word);
        EXPECT_SAME("[%1d] [%4d] [%12d]", value, value, value);
        EXPECT_SAME("[%01d] [%04d] [%012d]", value, value, value);
        EXPECT_SAME("[%-1d] [%-4d] [%-12d]", value, value, value);
        EXPECT_SAME("[%8x] [%08x] [%-8x] [%3u] [%03u]", word, word, word, word, word);
    }
}

TEST(QuickPrint, TextsInFields) {
    for (const char* text : {"", "a", "four", "a text that is longer"}) {
        EXPECT_SAME("[%s] [%4s] [%-4s] [%30s] [%-30s]", text, text, text, text, text);
        EXPECT_SAME("[%.0s] [%.2s] [%.99s] [%8.2s] [%-8.2s]", text, text, text, text, text);
    }
    EXPECT_SAME("[%3c] [%-3c]", 'a', 'b');
    // What no 0 ends is read as far as its precision goes.
    const char four[] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(print(512, "%.4s", four).quick, "abcd");
}

TEST(QuickPrint, WhatItDoesNotKnowIsLeft) {
    EXPECT_LEFT(512, "a %ld", 1L);
    EXPECT_LEFT(512, "a %llu", 1ull);
    EXPECT_LEFT(512, "a %+d", 1);
    EXPECT_LEFT(512, "a % d", 1);
    EXPECT_LEFT(512, "a %#x", 1u);
    EXPECT_LEFT(512, "a %*d", 3, 1);
    EXPECT_LEFT(512, "a %.3d", 1);
    EXPECT_LEFT(512, "a %X", 10u);
    EXPECT_LEFT(512, "a %f", 1.0);
    EXPECT_LEFT(512, "a %p", static_cast<void*>(nullptr));
    // The C library prints "(null)".
    const char* volatile nothing = nullptr;
    EXPECT_LEFT(512, "a %s", static_cast<const char*>(nothing));
}

TEST(QuickPrint, WhatDoesNotFitIsLeft) {
    EXPECT_EQ(print(4, "%s", "four").quick, "four");
    EXPECT_LEFT(3, "%s", "four");
    EXPECT_LEFT(3, "four");
    EXPECT_EQ(print(4, "%4d", 1).quick, "   1");
    EXPECT_LEFT(3, "%4d", 1);
    EXPECT_LEFT(4, "%d", -1234);
    EXPECT_LEFT(0, "a");
    EXPECT_LEFT(512, "%600d", 1);
}

TEST(QuickPrint, AnyNumbersInLines) {
    constexpr uint32_t kSeed = 7;
    std::mt19937 random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    for (int round = 0; round < 20000; ++round) {
        const auto value = static_cast<int>(random() >> random() % 32);
        const auto word = static_cast<unsigned>(random() >> random() % 32);
        EXPECT_SAME("%4d %03d/%2u %06d %02x %08x %-9d|%-9x\n", value, value, word, value, word,
                    word, value, word);
    }
}

}  // namespace
