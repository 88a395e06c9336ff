// Regular expressions: what they find, what is wrong with one, and that none is too hard. The C
// library's find the same.
#include "console/regex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <regex>

#include "console/error.h"

namespace {

using namespace pcsim;

struct Finding {
    const char* pattern;
    const char* in;   // a text that it is in
    const char* out;  // and one that it isn't in
};

TEST(RegexTest, Finds) {
    const Finding findings[] = {
        {"up", "up", "down"},
        {"^up$", "up", "ups"},
        {"", "", nullptr},
        {"^$", "", "a"},
        {"a.c", "xabcx", "ac"},
        {"^.$", "\xC3\xA4", "ab"},
        {"^[^x]$", "\xE2\x82\xAC", "x"},
        {"\xC3\xA4+", "x\xC3\xA4", "\xC3"},
        {"[a-c1]+x", "b1x", "dx"},
        {"[]a]", "]", "b"},
        {"[^]a]", "b", "]"},
        {"[a-]", "-", "b"},
        {"[\\d.]+$", "10.0", "10x"},
        {"^\\w+\\s\\d+$", "port 12", "port x"},
        {"^\\W\\S\\D$", ".-\xC3\xA4", "a-x"},
        {"\\bup\\b", "is up.", "ups"},
        {"\\.\\*\\\\\\t\\/", "x.*\\\t/", "a"},
        {"a|b|", "c", nullptr},
        {"^(a|b)$", "b", "ab"},
        {"^(?:1:[1-4]|2:1)$", "1:3", "2:2"},
        {"^a{2}$", "aa", "aaa"},
        {"^a{2,}$", "aaaa", "a"},
        {"^a{1,3}$", "aaa", "aaaa"},
        {"^a{0}b$", "b", "ab"},
        {"^(ab?)*c$", "aababc", "bc"},
        {"(a*)*b", "aab", "aac"},
        {"(^a|b$)", "xb", "xa"},
        {"x?x?xx", "xx", "x"},
    };
    for (const auto& [pattern, in, out] : findings) {
        const Regex regex(pattern);
        EXPECT_TRUE(regex.isIn(in)) << pattern << " in " << in;
        if (out == nullptr) continue;
        EXPECT_FALSE(regex.isIn(out)) << pattern << " in " << out;
    }
}

std::string problemOf(const std::string& pattern) {
    try {
        const Regex regex(pattern);
        return "none";
    } catch (const CommandError& error) {
        EXPECT_EQ(error.code, ErrorCode::kUsage);
        return error.what();
    }
}

TEST(RegexTest, SaysWhatIsWrong) {
    EXPECT_EQ(problemOf("(a"), "'(a' is no pattern: a '(' has no ')'");
    EXPECT_EQ(problemOf("a)"), "'a)' is no pattern: a ')' has no '('");
    EXPECT_EQ(problemOf("[a"), "'[a' is no pattern: a '[' has no ']'");
    EXPECT_EQ(problemOf("[]"), "'[]' is no pattern: a '[' has no ']'");
    EXPECT_EQ(problemOf("[z-a]"), "'[z-a]' is no pattern: 'z-a' is no range of characters");
    EXPECT_EQ(problemOf("[\xC3\xA4]"),
              "'[\xC3\xA4]' is no pattern: a list in brackets is of ASCII characters");
    EXPECT_EQ(problemOf("a\\"), "'a\\' is no pattern: it ends in a backslash");
    EXPECT_EQ(problemOf("(a)\\1"), "'(a)\\1' is no pattern: there is no \\1");
    EXPECT_EQ(problemOf("*a"),
              "'*a' is no pattern: there is nothing that '*' repeats; \\* is the character");
    EXPECT_EQ(problemOf("a**"),
              "'a**' is no pattern: there is nothing that '*' repeats; \\* is the character");
    const std::string braces =
        " is no pattern: braces hold {N}, {N,} or {N,M}, to 1000; \\{ is the character";
    for (const std::string pattern :
         {"a{", "a{x}", "a{1,x}", "a{3,2}", "a{1001}", "a{,2}", "a{0,99999999999}"})
        EXPECT_EQ(problemOf(pattern), "'" + pattern + "'" + braces);
    EXPECT_EQ(problemOf(std::string(1001, 'a')), "the pattern is longer than 1000 bytes");
    EXPECT_EQ(problemOf(std::string(51, '(') + std::string(51, ')')),
              "'" + std::string(40, '(') + "...' is no pattern: groups are more than 50 deep");
}

TEST(RegexTest, NoneIsTooHard) {
    for (const char* pattern :
         {"((a{1000}){1000}){1000}", "((((){1000}){1000}){1000}){1000}", "(((a?){99}){99}){99}"})
        EXPECT_EQ(problemOf(pattern), "the pattern repeats too much") << pattern;
    const auto start = std::chrono::steady_clock::now();
    const std::string text(20000, 'a');
    for (const char* pattern : {"(a*)*b", "(a|a)*b", "(a|aa)+$b", "a?a?a?a?a?a?a?a?a?a?aaaaaaaaaab",
                                "(((a+)+)+)+b", "(.*)(.*)(.*)(.*)x"})
        EXPECT_FALSE(Regex(pattern).isIn(text)) << pattern;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

// Patterns at random, of what both know alike.
TEST(RegexTest, FindsWhatTheCLibraryFinds) {
    const char* const seed = std::getenv("PCSIM_SEED");
    std::mt19937 chance(seed != nullptr ? static_cast<unsigned>(std::stoul(seed)) : 1u);
    const char* const pieces[] = {"a", "b", "ab", ".",     "[ab]", "[^a]", "(",     ")", "|",
                                  "*", "+", "?",  "{1,2}", "^",    "$",    "(a|b)", "c"};
    int compared = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string pattern, text;
        for (unsigned n = chance() % 7; n > 0; --n) pattern += pieces[chance() % std::size(pieces)];
        for (unsigned n = chance() % 7; n > 0; --n) text += static_cast<char>('a' + chance() % 3);
        std::regex other;
        try {
            other = std::regex(pattern, std::regex::ECMAScript);
        } catch (const std::regex_error&) {
            continue;
        }
        const std::string problem = problemOf(pattern);
        if (problem != "none") continue;  // "a*?" and its like
        ++compared;
        ASSERT_EQ(Regex(pattern).isIn(text), std::regex_search(text, other))
            << "'" << pattern << "' in '" << text << "'";
    }
    EXPECT_GT(compared, 3000);
}

}  // namespace
