// How many words a printf format takes: by the compiler's own way of passing them.
#include <cstdarg>
#include <cstdio>

#include "tests/probe/boundary/attached.h"

namespace pcsim::probe {

uint32_t formatWords(const char* format);

namespace {

TEST(FormatWords, CountsTheWordsOfEachConversion) {
    // With 64 bits fractions are in registers of their own, and all else takes one word.
    struct Row {
        const char* format;
        uint32_t words, wordsOf64Bits;
    };
    const Row rows[] = {{"", 0, 0},        {"plain", 0, 0},       {"%d", 1, 1},
                        {"%%", 0, 0},      {"%lld", 2, 1},        {"%llx %hhu", 3, 2},
                        {"%ld", 1, 1},     {"%jd", 2, 1},         {"%zu", 1, 1},
                        {"%-*.*s|", 3, 3}, {"%5.2f", 2, 0},       {"%Lf", 3, 0},
                        {"%c%p%n", 3, 3},  {"%08llx", 2, 1},      {"100%", 0, 0},
                        {"%m", 0, 0},      {"%s %s %s %s", 4, 4}, {"%+.3e%%%d", 3, 1}};
    for (const Row& row : rows)
        EXPECT_EQ(formatWords(row.format), sizeof(void*) == 4 ? row.words : row.wordsOf64Bits)
            << row.format;
}

}  // namespace
}  // namespace pcsim::probe
