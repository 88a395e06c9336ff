// What leads from one text to another.
#include "host/state/line_diff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/seed.h"

namespace pcsim::host {
namespace {

std::string diffText(std::string_view before, std::string_view after) {
    std::string text;
    for (const auto& [sign, line] : lineDiff(before, after)) text += sign + std::string(line) + " ";
    return text;
}

TEST(LineDiffTest, EqualTextsDifferInNothing) {
    EXPECT_EQ(diffText("", ""), "");
    EXPECT_EQ(diffText("a\nb\n", "a\nb\n"), "");
}

TEST(LineDiffTest, LinesGoAndComeInTheOrderOfTheTexts) {
    static const struct {
        const char *before, *after, *changes;
    } kRows[] = {
        {"", "a\nb\n", "+a +b "},
        {"a\nb\n", "", "-a -b "},
        {"a\nb\nc\n", "a\nc\n", "-b "},
        {"a\nc\n", "a\nb\nc\n", "+b "},
        {"a\nb\nc\n", "a\nx\ny\nc\n", "-b +x +y "},
        {"a\nb\n", "x\ny\n", "-a -b +x +y "},
        {"a\nb\nc\nd\n", "x\nb\ny\nd\nz\n", "-a +x -c +y +z "},
        {"a\na\na\n", "a\n", "-a -a "},
        {"a\n", "a\na\n", "+a "},
        {"a\nb\nc\nd\n", "b\nc\nd\na\n", "-a +a "},  // what has moved is the one line
        {"a", "a\n", ""},                            // the last line may have no end
        {"\na\n", "a\n", "- "},
    };
    for (const auto& row : kRows) EXPECT_EQ(diffText(row.before, row.after), row.changes);
}

// Applied to the first text the changes give the second, and there are no more than a line that
// goes for each that is no longer there, and so on.
TEST(LineDiffTest, ChangesLeadFromTheFirstTextToTheSecond) {
    std::mt19937 random(test::modelSeed());
    for (int round = 0; round < 300; ++round) {
        std::vector<std::string> before, after;
        for (auto* lines : {&before, &after})
            for (unsigned i = random() % 12; i != 0; --i)
                lines->push_back(std::string(1, static_cast<char>('a' + random() % 8)));
        const auto textOf = [](const std::vector<std::string>& lines) {
            std::string text;
            for (const auto& line : lines) text += line + "\n";
            return text;
        };
        const std::string from = textOf(before), to = textOf(after);
        const auto changes = lineDiff(from, to);
        std::vector<std::string> gone, come;
        for (const auto& [sign, line] : changes) (sign == '-' ? gone : come).emplace_back(line);
        // What stays is the same on both sides: the texts without what goes and what comes.
        const auto without = [](std::vector<std::string> lines,
                                const std::vector<std::string>& taken, bool& inOrder) {
            std::vector<std::string> left;
            auto next = taken.begin();
            for (const auto& line : lines) {
                if (next != taken.end() && *next == line)
                    ++next;
                else
                    left.push_back(line);
            }
            inOrder = inOrder && next == taken.end();
            std::sort(left.begin(), left.end());
            return left;
        };
        bool inOrder = true;
        EXPECT_EQ(without(before, gone, inOrder), without(after, come, inOrder)) << from << "->\n"
                                                                                 << to;
        EXPECT_TRUE(inOrder) << from << "->\n" << to;
    }
}

}  // namespace
}  // namespace pcsim::host
