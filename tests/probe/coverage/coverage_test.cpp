// Rows and sums of coverage.
#include "probe/coverage/coverage.h"

#include <gtest/gtest.h>

#include "tests/probe/calls.h"

namespace pcsim::probe {
namespace {

TEST(Coverage, RowsAreInTheOrderOfTablesAndWordsAndThoseCalledByNameFollow) {
    FakeSite cleanup{"pcSimPCFamFdbCleanup", "HalFamilyOps", "fdbCleanup"};
    FakeSite init{"pcSimPCFamFdbInit", "HalFamilyOps", "fdbInit"};
    FakeSite power{"pcSimCardPowerEnable", "HalCardDbOps", "cardPowerEnable"};
    FakeSite byName{"platformSystemInit"}, neverByName{"pcSimVrCreate"};
    FakeSite host{"dmGetMaxVr"}, silentHost{"halStartTimer"};
    byName.counts.calls = 1;
    host.counts.calls = 4;
    init.counts.calls = 3;
    init.counts.failures = 2;
    init.counts.nulls = 1;
    init.counts.totalNs = 500;
    init.counts.longestNs = 400;
    Site* const sites[] = {&host.site,  &byName.site,      &cleanup.site,   &init.site,
                           &power.site, &neverByName.site, &silentHost.site};
    const auto rows = coverageOf(sites);
    std::vector<std::string> names;
    for (const CoverageRow& row : rows) names.push_back(row.operation);
    EXPECT_EQ(names, (std::vector<std::string>{"pcSimCardPowerEnable", "pcSimPCFamFdbInit",
                                               "pcSimPCFamFdbCleanup", "platformSystemInit",
                                               "dmGetMaxVr"}));
    EXPECT_EQ(rows[1].table, "family");
    EXPECT_EQ(rows[1].word, "fdbInit");
    EXPECT_EQ(rows[1].wordIndex,
              recordNamed("HalFamilyOps")->field("fdbInit")->offset / sizeof(void*));
    EXPECT_EQ(rows[0].table, "cardDb");
    EXPECT_EQ(rows[0].wordIndex, sizeof(void*) == 4 ? 6u : 5u)
        << "of the database that the operations are a part of";

    const auto sums = sumsOf(rows);
    ASSERT_EQ(sums.size(), 4u);
    EXPECT_EQ(sums[1].name, "family");
    EXPECT_EQ(sums[1].operations, 2u);
    EXPECT_EQ(sums[1].called, 1u);
    EXPECT_EQ(sums[1].calls, 3u);
    EXPECT_EQ(sums[1].failures, 2u);
    EXPECT_EQ(sums[1].nulls, 1u);
    EXPECT_EQ(sums[1].totalNs, 500u);
    EXPECT_EQ(sums[1].longestNs, 400u);
    EXPECT_EQ(sums[2].name, "by name");
    EXPECT_EQ(sums[3].name, "host");
    EXPECT_EQ(sums[3].calls, 4u);
}

TEST(Coverage, DurationsHaveThreeDigits) {
    for (const auto& [ns, text] :
         std::vector<std::pair<uint64_t, const char*>>{{0, "0 ns"},
                                                       {999, "999 ns"},
                                                       {1000, "1.00 us"},
                                                       {1059, "1.05 us"},
                                                       {12345, "12.3 us"},
                                                       {123456, "123 us"},
                                                       {1234567, "1.23 ms"},
                                                       {9009000000, "9.00 s"},
                                                       {120000000000, "120 s"}})
        EXPECT_EQ(durationText(ns), text);
}

}  // namespace
}  // namespace pcsim::probe
