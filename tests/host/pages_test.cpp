// Pages of listings: which rows they have, in which order, and what is told of the others.
#include "host/verbs/pages.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <random>

namespace pcsim::host {
namespace {

Table rowsTable() {
    return Table{"rows", "Rows", {{"row", "Row"}}, {}, "none", ""};
}

// The table with what is told of a range of so many rows.
Table told(const RowRange& range, uint64_t matching) {
    Pages pages;
    Table table = rowsTable();
    pages.note(table, range, matching, "rows");
    return table;
}

TEST(Pages, ARangeCountsWhatThereIs) {
    const RowRange range{3, 4};
    EXPECT_FALSE(range.has(2));
    EXPECT_TRUE(range.has(3));
    EXPECT_TRUE(range.has(6));
    EXPECT_FALSE(range.has(7));
    EXPECT_EQ(range.countOf(100), 4u);
    EXPECT_EQ(range.countOf(5), 2u);
    EXPECT_EQ(range.countOf(3), 0u);
    EXPECT_EQ(range.countOf(0), 0u);
}

TEST(Pages, PeopleAreToldWhatIsLeftOut) {
    EXPECT_EQ(told({0, 10}, 10).footer, "");
    EXPECT_EQ(told({0, 10}, 0).footer, "");
    EXPECT_EQ(told({0, 10}, 0).whenEmpty, "none");
    EXPECT_EQ(told({0, 10}, 11).footer, "the first 10 of 11 rows; 'limit' shows more");
    EXPECT_EQ(told({0, 10, 10}, 11).footer, "the first 10 of 11 rows");
    EXPECT_EQ(told({10, 10}, 25).footer, "11 to 20 of 25 rows; 'from 20' goes on");
    EXPECT_EQ(told({20, 10}, 25).footer, "21 to 25 of 25 rows");
    EXPECT_EQ(told({24, 10}, 25).footer, "number 25 of 25 rows");
    EXPECT_EQ(told({25, 10}, 25).whenEmpty, "none from 25 on; the last is 'from 24'");
    EXPECT_EQ(told({25, 10}, 0).whenEmpty, "none");
}

TEST(Pages, ProgramsAreToldInNumbers) {
    Pages pages;
    Table rows = rowsTable();
    pages.note(rows, {10, 10}, 25, "rows");
    Report report(rows);
    report.add(pages.table());
    EXPECT_EQ(report.json(Report::Json::kCompact),
              R"({"rows":[],"pages":[{"table":"rows","from":10,"shown":10,"matching":25}]})");
    EXPECT_EQ(report.at("pages.rows.matching")->plain(), "25");
    EXPECT_EQ(report.text(), "Rows\n  none\n");
    EXPECT_EQ(report.names(), "rows.count, ROW.row");
}

// Every range of every number of rows, and of rows behind others, as if all had been put in order.
TEST(Pages, APageIsAPartOfTheWholeInOrder) {
    std::mt19937 random(7);
    for (size_t size = 0; size < 12; ++size)
        for (uint64_t before : {0, 1, 5})
            for (uint64_t from = 0; from < 20; ++from)
                for (uint64_t limit : {1, 2, 5, 100}) {
                    std::vector<int> rows(size);
                    std::iota(rows.begin(), rows.end(), 0);
                    std::shuffle(rows.begin(), rows.end(), random);
                    const RowRange range{from, limit};
                    const auto page = pageOf(rows, range, before, std::less<>());
                    std::vector<int> wanted;
                    for (size_t i = 0; i < size; ++i)
                        if (range.has(before + i)) wanted.push_back(static_cast<int>(i));
                    EXPECT_EQ(std::vector<int>(page.begin(), page.end()), wanted)
                        << size << " rows behind " << before << ", " << limit << " from " << from;
                }
}

}  // namespace
}  // namespace pcsim::host
