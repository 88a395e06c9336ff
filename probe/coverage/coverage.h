// Coverage: which operations were called across the boundary, how often, with what end, and in what
// time. Nothing is counted here: stubs do that for every site, all the time.
#ifndef PCSIM_PROBE_COVERAGE_COVERAGE_H
#define PCSIM_PROBE_COVERAGE_COVERAGE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "probe/boundary/call.h"

namespace pcsim::probe {

struct CoverageRow {
    std::string operation;
    std::string table;  // "family"; "" of what is in no table
    std::string word;   // the operation's name in the table, or ""
    uint32_t wordIndex;
    Side side;
    uint64_t calls;
    uint64_t failures;
    uint64_t nulls;
    uint64_t totalNs;
    uint64_t longestNs;
};

// A table's operations together; those in no table, by their side.
struct CoverageSum {
    std::string name;  // of the table; "by name", "host", "C library"
    uint64_t operations = 0;
    uint64_t called = 0;
    uint64_t calls = 0;
    uint64_t failures = 0;
    uint64_t nulls = 0;
    uint64_t totalNs = 0;
    uint64_t longestNs = 0;
};

// The sites as rows: the platform's in the order of tables and their words, then those that were
// looked up by name, then what the platform calls.
std::vector<CoverageRow> coverageOf(std::span<Site* const> sites);
// The name of the sum that a row is in.
std::string_view groupOf(const CoverageRow& row);
std::vector<CoverageSum> sumsOf(const std::vector<CoverageRow>& rows);

// "1.25 ms": three digits that count.
std::string durationText(uint64_t ns);

}  // namespace pcsim::probe

#endif
