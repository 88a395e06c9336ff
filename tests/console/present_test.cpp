// Texts and tables that are made fit to be shown.
#include "console/present.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "console/mood.h"

namespace {

using namespace pcsim;

Table tableOf(const std::string& name, const std::string& ports) {
    return {"t", "", {{"name", "Name"}, {"ports", "A rather long title"}}, {{name, ports}}, "", ""};
}

// The line of the only row, and what stands below it.
std::string rowOf(const Table& table, const Page& page = {}) {
    const std::string text = Report(table).text(page);
    return text.substr(text.find('\n', text.find('\n') + 1) + 1);
}

TEST(FitTableTest, WhatFitsStaysAsItIs) {
    Table table = tableOf("name", std::string(72, 'x'));
    table.flexible = {{1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table), "  name  " + std::string(72, 'x') + "\n");
    table = tableOf("name", std::string(192, 'x'));
    table.flexible = {{1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table, {.width = 200}), "  name  " + std::string(192, 'x') + "\n");
}

TEST(FitTableTest, OneColumnTooManyIsCutBetweenWords) {
    Table table = tableOf("name", std::string(60, 'x') + " " + std::string(12, 'y'));
    table.flexible = {{1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table),
              "  name  " + std::string(60, 'x') + " ...\n  ...: cut to fit, --json has it all\n");
}

TEST(FitTableTest, TheWidestColumnGivesFirstAndATitleNever) {
    Table table = tableOf(std::string(30, 'a'), std::string(300, 'b'));
    table.flexible = {{0, Cut::kMiddle}, {1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table).substr(0, 81),
              "  " + std::string(30, 'a') + "  " + std::string(42, 'b') + " ...\n");
    table = tableOf(std::string(300, 'a'), std::string(19, 'b'));
    table.flexible = {{0, Cut::kMiddle}, {1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table).substr(0, 81), "  " + std::string(36, 'a') + "..." +
                                              std::string(18, 'a') + "  " + std::string(19, 'b') +
                                              "\n");
}

TEST(PageTest, ATableThatDoesNotFitATerminalIsFolded) {
    Table table{"ports",
                "Front panel of the switch",
                {{"port", "Port"}, {"link", "Link"}, {"packets", "Packets", Align::kRight}},
                {{"1:1", "up", 7}, {"1:2", "a text of some words", 12345}},
                "",
                "two of many rows"};
    const std::string folded =
        "Front panel of the\n"
        "switch\n"
        "  Port     1:1\n"
        "  Link     up\n"
        "  Packets  7\n"
        "\n"
        "  Port     1:2\n"
        "  Link     a text of\n"
        "           some words\n"
        "  Packets  12345\n"
        "  two of many rows\n";
    EXPECT_EQ(Report(table).text({.width = 21, .terminal = true}), folded);
    // What is no terminal has a line for each row.
    EXPECT_EQ(Report(table).text({.width = 21}), Report(table).text());
    EXPECT_EQ(Report(table).text({.width = 200, .terminal = true}), Report(table).text());
}

TEST(PageTest, ATableIsShortenedBeforeItIsFolded) {
    Table table = tableOf("name", std::string(60, 'x'));
    table.flexible = {{1, Cut::kEnd}};
    EXPECT_EQ(rowOf(table, {.width = 40, .terminal = true}),
              "  name  " + std::string(28, 'x') + " ...\n  ...: cut to fit, --json has it all\n");
    EXPECT_EQ(Report(table).text({.width = 24, .terminal = true}),
              "  Name                 name\n  A rather long title  " + std::string(60, 'x') + "\n");
}

TEST(PageTest, FieldsWrap) {
    const Report report = Fields{"f", "Fields", {{"a", "Title", "some words that are long"}}};
    EXPECT_EQ(report.text({.width = 20, .terminal = true}),
              "Fields\n"
              "  Title  some words\n"
              "         that are\n"
              "         long\n");
    EXPECT_EQ(report.text({.width = 20}), "Fields\n  Title  some words that are long\n");
}

TEST(PageTest, WhatNeedsALookHasAColour) {
    Table table{"t", "", {{"port", "Port"}, {"link", "Link"}, {"note", "Note"}}, {}, "", ""};
    table.rows = {{"1:1", "up", "down"}, {"1:2", "down", "up"}};
    EXPECT_EQ(Report(table).text({.coloured = true}),
              "  Port  Link  Note\n"
              "  ----  ----  ----\n"
              "  1:1   \033[32mup\033[0m    down\n"
              "  1:2   \033[31mdown\033[0m  up\n");
    EXPECT_EQ(Report(Fields{"f", "", {{"admin", "Admin", "disabled"}}}).text({.coloured = true}),
              "  Admin  \033[33mdisabled\033[0m\n");
}

TEST(PageTest, ColoursAreForTerminalsWhoseUserWantsThem) {
    unsetenv("NO_COLOR");
    setenv("TERM", "xterm", 1);
    EXPECT_FALSE(hasColours(Colours::kAuto, -1));
    EXPECT_TRUE(hasColours(Colours::kAlways, -1));
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    EXPECT_TRUE(hasColours(Colours::kAuto, terminal));
    EXPECT_FALSE(hasColours(Colours::kNever, terminal));
    setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(hasColours(Colours::kAuto, terminal));
    setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(hasColours(Colours::kAuto, terminal));
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(hasColours(Colours::kAuto, terminal));
    close(terminal);
}

TEST(PresentTest, ALimitIsAdvisedUnlessItEndsThere) {
    EXPECT_EQ(firstRows(2, 5, "rules", 10), "the first 2 of 5 rules; 'limit' shows more");
    EXPECT_EQ(firstRows(10, 50, "rules", 10), "the first 10 of 50 rules");
}

}  // namespace
