// What is written of a run's calls, and what several runs add up to.
#include "probe/control/coverage_file.h"

#include <cstring>
#include <memory>

#include "probe/coverage_reader.h"
#include "tests/probe/program/scratch.h"

namespace pcsim::probe {
namespace {

class CoverageFileTest : public ScratchTest {
protected:
    void row(const char* name, const char* table, Side side, const Counted& counted) {
        SiteRow& row = rows[used++];
        strcpy(row.name, name);
        strcpy(row.table, table);
        row.side = static_cast<uint32_t>(side);
        row.counts.calls = counted.calls;
        row.counts.failures = counted.failures;
        row.counts.nulls = counted.nulls;
        row.counts.totalNs = counted.totalNs;
        row.counts.longestNs = counted.longestNs;
    }

    std::unique_ptr<SiteRow[]> rows = std::make_unique<SiteRow[]>(8);
    uint32_t used = 0;
};

TEST_F(CoverageFileTest, HasWhatWasCalledAndWhatWasOffered) {
    row("called", "HalFamilyOps", Side::kPlatform, {5, 2, 0, 900, 400});
    row("offered", "HalFamilyOps", Side::kPlatform, {});
    row("exportedAlone", "", Side::kPlatform, {});
    row("lookedUp", "", Side::kPlatform, {1, 0, 1, 0, 0});
    row("halTime", "", Side::kHost, {7, 0, 0, 0, 0});
    row("halUnused", "", Side::kHost, {});
    row("malloc", "", Side::kSystem, {9, 0, 0, 0, 0});
    // A function that was met as two sites is one.
    row("called", "HalSystemOps", Side::kPlatform, {1, 1, 0, 100, 100});
    const CoverageData data = coverageOf(rows.get(), used);
    const CoverageData expected{
        1,
        {{"called", {6, 3, 0, 1000, 400}}, {"lookedUp", {1, 0, 1, 0, 0}}, {"offered", {}}},
        {{"halTime", {7, 0, 0, 0, 0}}}};
    EXPECT_EQ(expected, data);
    EXPECT_EQ(66u, percentCalled(data));
    EXPECT_EQ(std::vector<std::string>{"offered"}, neverCalled(data));
}

TEST_F(CoverageFileTest, IsJsonWithAnOperationALine) {
    const CoverageData data{
        2, {{"a", {3, 1, 0, 0, 0}}, {"b", {18446744073709551615u, 0, 2, 9, 4}}}, {{"halTime", {}}}};
    EXPECT_EQ(
        "{\n"
        "  \"format\": \"pcsim-coverage-1\",\n"
        "  \"runs\": 2,\n"
        "  \"platform\": {\n"
        "    \"a\": {\"calls\": 3, \"failures\": 1, \"nulls\": 0},\n"
        "    \"b\": {\"calls\": 18446744073709551615, \"failures\": 0, \"nulls\": 2, "
        "\"totalNs\": 9, \"longestNs\": 4}\n"
        "  },\n"
        "  \"host\": {\n"
        "    \"halTime\": {\"calls\": 0, \"failures\": 0, \"nulls\": 0}\n"
        "  }\n"
        "}\n",
        coverageText(data));
}

// Files come from anywhere: what is merged of them must be read again.
TEST_F(CoverageFileTest, WhatIsNoNameIsRefused) {
    const std::pair<const char*, const char*> kRows[] = {
        {R"(a\"b)", "a\"b"}, {R"(a\\b)", "a\\b"},      {R"(a\nb)", "a?b"},
        {"a b", "a b"},      {"\xC3\xA4", "\xC3\xA4"}, {"", ""}};
    for (const auto& [written, told] : kRows) {
        write(at("cov.json"), coverageText({1, {{written, {}}}, {}}));
        EXPECT_EQ(at("cov.json") + " is damaged: '" + told + "' is no operation",
                  problemOf([&] { readCoverage(at("cov.json")); }));
    }
}

TEST_F(CoverageFileTest, MoreRunsThanCanBeAreRefused) {
    const std::string rest = R"(,"platform":{},"host":{}})";
    const std::string text = R"({"format":"pcsim-coverage-1","runs":)";
    write(at("cov.json"), text + "4294967295" + rest);
    EXPECT_EQ(4294967295u, readCoverage(at("cov.json")).runs);
    write(at("cov.json"), text + "4294967296" + rest);
    EXPECT_EQ(at("cov.json") + " is damaged: the file has no 'runs' that is a count",
              problemOf([&] { readCoverage(at("cov.json")); }));
}

TEST_F(CoverageFileTest, RunsAddUp) {
    CoverageData sum{1, {{"a", {1, 1, 0, 10, 10}}, {"b", {}}}, {}};
    sum.add({3, {{"b", {2, 0, 1, 6, 5}}, {"a", {1, 0, 0, 7, 7}}}, {{"halTime", {1, 0, 0, 0, 0}}}});
    const CoverageData expected{
        4, {{"a", {2, 1, 0, 17, 10}}, {"b", {2, 0, 1, 6, 5}}}, {{"halTime", {1, 0, 0, 0, 0}}}};
    EXPECT_EQ(expected, sum);
    EXPECT_EQ(100u, percentCalled(sum));
}

TEST_F(CoverageFileTest, NothingOfferedIsNothingCalled) {
    EXPECT_EQ(0u, percentCalled({}));
}

TEST_F(CoverageFileTest, IsThereWholeOrNotAtAll) {
    const CoverageData data{1, {{"a", {3, 1, 0, 0, 0}}}, {}};
    write(at("cov.json"), "what was there before");
    writeCoverage(at("cov.json"), data);
    EXPECT_EQ(coverageText(data), read(at("cov.json")));
    EXPECT_EQ("/dev/full/cov can't be written: Not a directory",
              problemOf([&] { writeCoverage("/dev/full/cov", data); }));
    const auto files = std::filesystem::directory_iterator(folder);
    EXPECT_EQ(1, std::distance(begin(files), end(files)));
}

}  // namespace
}  // namespace pcsim::probe
