// How many words a printf format takes: by the compiler's own way of passing them.
#include <cstdarg>
#include <cstdio>

#include "tests/probe/boundary/attached.h"

namespace pcsim::probe {

uint32_t formatWords(const char* format);

namespace {

TEST(FormatWords, CountsTheWordsOfEachConversion) {
    struct Row {
        const char* format;
        uint32_t words;
    };
    const Row rows[] = {
        {"", 0},          {"plain", 0},       {"%d", 1},       {"%%", 0},     {"%lld", 2},
        {"%llx %hhu", 3}, {"%ld", 1},         {"%jd", 2},      {"%zu", 1},    {"%-*.*s|", 3},
        {"%5.2f", 2},     {"%Lf", 3},         {"%c%p%n", 3},   {"%08llx", 2}, {"100%", 0},
        {"%m", 0},        {"%s %s %s %s", 4}, {"%+.3e%%%d", 3}};
    for (const Row& row : rows) EXPECT_EQ(formatWords(row.format), row.words) << row.format;
}

}  // namespace
}  // namespace pcsim::probe
