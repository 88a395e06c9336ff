// Lines taken apart: variables in words, and lines put together again.
#include "console/words.h"

#include <gtest/gtest.h>

#include <map>

#include "console/error.h"

namespace {

using namespace pcsim;

// Splits with a few variables; a problem is one word.
Words split(const std::string& line) {
    static const std::map<std::string, std::string, std::less<>> values{
        {"a", "1"}, {"port", "1:1"}, {"two", "x  y"}, {"none", ""}, {"hash", "#\""}, {"_9", "z"}};
    try {
        return splitWords(line, [](std::string_view name) -> const std::string& {
            const auto found = values.find(name);
            if (found == values.end()) failUsage("no {}", name);
            return found->second;
        });
    } catch (const CommandError& error) {
        EXPECT_EQ(error.code, ErrorCode::kUsage);
        return {error.what()};
    }
}

TEST(Words, VariablesStandForTheirValues) {
    EXPECT_EQ(split("show port $port"), (Words{"show", "port", "1:1"}));
    EXPECT_EQ(split("${a}b$a-$a$a"), (Words{"1b1-11"}));
    EXPECT_EQ(split("\"$port and ${a}\""), (Words{"1:1 and 1"}));
    EXPECT_EQ(split("$_9"), (Words{"z"}));
    EXPECT_EQ(split("$ab"), (Words{"no ab"}));
}

TEST(Words, AValueStaysInItsWord) {
    EXPECT_EQ(split("echo $two b"), (Words{"echo", "x  y", "b"}));
    EXPECT_EQ(split("echo $none b"), (Words{"echo", "", "b"}));
    EXPECT_EQ(split("echo $hash b"), (Words{"echo", "#\"", "b"}));
}

TEST(Words, OtherDollarsAreDollars) {
    EXPECT_EQ(split("$$ $$a $"), (Words{"$", "$a", "$"}));
    EXPECT_EQ(split("^a$ \"b$\" $5 $-"), (Words{"^a$", "b$", "$5", "$-"}));
    EXPECT_EQ(split("a # $unknown ${"), (Words{"a"}));
    EXPECT_EQ(splitWords("$a $$"), (Words{"$a", "$$"}));
}

TEST(Words, BracesAreClosed) {
    EXPECT_EQ(split("x ${a"), (Words{"'${a' is no variable; expected ${NAME}"}));
    EXPECT_EQ(split("${}x"), (Words{"'${}' is no variable; expected ${NAME}"}));
    EXPECT_EQ(split("${a b}x"), (Words{"'${a b}' is no variable; expected ${NAME}"}));
}

TEST(Words, ALineDoesNotGrowForEver) {
    const std::string value(100000, 'v');
    const auto valueOf = [&](std::string_view) -> const std::string& { return value; };
    EXPECT_EQ(splitWords("$a$a$a", valueOf)[0].size(), 300000u);
    try {
        splitWords("$a $a $a $a $a $a $a $a $a $a $a", valueOf);
        ADD_FAILURE() << "it did";
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(),
                     "the line is longer than 1048576 bytes with the values of its variables");
    }
}

TEST(Words, ALineIsMadeOfWords) {
    const Words words{"set", "a", "two words", "", "#3", "x#"};
    EXPECT_EQ(lineOf(words), "set a \"two words\" \"\" \"#3\" \"x#\"");
    EXPECT_EQ(splitWords(lineOf(words)), words);
}

TEST(Words, TheFirstIsFoundWithoutSplitting) {
    EXPECT_EQ(firstWord(" \trepeat 3"), "repeat");
    EXPECT_EQ(firstWord("end"), "end");
    EXPECT_EQ(firstWord("end#"), "end#");
    EXPECT_EQ(firstWord("  # end"), "");
    EXPECT_EQ(firstWord("\r\n"), "");
}

TEST(Words, NamesOfVariables) {
    for (const char* name : {"a", "A_9", "_"}) EXPECT_TRUE(isVariableName(name)) << name;
    for (const char* name : {"", "9a", "a-b", "\xC3\xA4"})
        EXPECT_FALSE(isVariableName(name)) << name;
}

}  // namespace
