// Texts and tables that are made fit to be shown.
#include <gtest/gtest.h>

#include "console/present.h"

namespace pcsim::host {
namespace {

size_t widthOf(const Table& table) {
    const std::string text = Report(table).text();
    size_t width = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        width = std::max(width, end - start);
        start = end + 1;
    }
    return width;
}

Table tableOf(const std::string& name, const std::string& ports) {
    return {"t", "", {{"name", "Name"}, {"ports", "A rather long title"}}, {{name, ports}}, "", ""};
}

TEST(FitTableTest, WhatFitsStaysAsItIs) {
    Table table = tableOf("name", std::string(72, 'x'));
    ASSERT_EQ(widthOf(table), 80u);
    fitTable(table, {{1, Cut::kEnd}});
    EXPECT_EQ(table.rows[0][1].text(), std::string(72, 'x'));
    EXPECT_EQ(table.footer, "");
}

TEST(FitTableTest, OneColumnTooManyIsCutBetweenWords) {
    Table table = tableOf("name", std::string(60, 'x') + " " + std::string(12, 'y'));
    ASSERT_EQ(widthOf(table), 81u);
    fitTable(table, {{1, Cut::kEnd}});
    EXPECT_LE(widthOf(table), 80u);
    EXPECT_EQ(table.rows[0][1].text(), std::string(60, 'x') + " ...");
    EXPECT_EQ(table.rows[0][1].plain(), std::string(60, 'x') + " " + std::string(12, 'y'));
    EXPECT_EQ(table.footer, "...: cut to fit, --json has it all");
}

TEST(FitTableTest, TheWidestColumnGivesFirstAndATitleNever) {
    Table table = tableOf(std::string(30, 'a'), std::string(300, 'b'));
    fitTable(table, {{0, Cut::kMiddle}, {1, Cut::kEnd}});
    EXPECT_EQ(widthOf(table), 80u);
    EXPECT_EQ(table.rows[0][0].text(), std::string(30, 'a'));
    table = tableOf(std::string(300, 'a'), std::string(19, 'b'));
    fitTable(table, {{0, Cut::kMiddle}, {1, Cut::kEnd}});
    EXPECT_EQ(widthOf(table), 80u);
    EXPECT_EQ(table.rows[0][1].text(), std::string(19, 'b'));
}

TEST(PresentTest, ALimitIsAdvisedUnlessItEndsThere) {
    EXPECT_EQ(firstRows(2, 5, "rules", 10), "the first 2 of 5 rules; 'limit' shows more");
    EXPECT_EQ(firstRows(10, 50, "rules", 10), "the first 10 of 50 rules");
}

}  // namespace
}  // namespace pcsim::host
