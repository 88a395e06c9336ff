// What was called in a run, as it is kept: counts by the operations' names, in a file that says
// itself what it is, and adding them up over runs.
#ifndef PCSIM_PROBE_CONTROL_COVERAGE_FILE_H
#define PCSIM_PROBE_CONTROL_COVERAGE_FILE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "probe/control/block.h"

namespace pcsim::probe {

struct Counted {
    uint64_t calls = 0;
    uint64_t failures = 0;
    uint64_t nulls = 0;
    uint64_t totalNs = 0;  // 0 without times
    uint64_t longestNs = 0;

    void add(const Counted& more);
    bool operator==(const Counted&) const = default;
};

// What one run, or several, called of each side. An operation that stands in a table which the HAL
// was given is there without a call, too: it is one that the HAL could have called.
struct CoverageData {
    uint32_t runs = 1;
    std::map<std::string, Counted> platform;  // operations of the library
    std::map<std::string, Counted> host;      // functions of the HAL

    void add(const CoverageData& more);
    bool operator==(const CoverageData&) const = default;
};

inline constexpr char kCoverageFormat[] = "pcsim-coverage-1";

// Of the rows of a control block.
CoverageData coverageOf(const SiteRow* rows, uint32_t count);

// The text of a coverage file: JSON, one operation a line.
std::string coverageText(const CoverageData& data);
// Throws a CommandError when the file can't be written; it is there whole or not at all.
void writeCoverage(const std::string& path, const CoverageData& data);

// How many of a hundred operations that the HAL was offered it has called, rounded down.
uint32_t percentCalled(const CoverageData& data);
std::vector<std::string> neverCalled(const CoverageData& data);

}  // namespace pcsim::probe

#endif
