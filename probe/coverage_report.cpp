// What was called, as tables: both directions, and what never was.
#include "probe/coverage_report.h"

#include <algorithm>

#include "console/text.h"

namespace pcsim::probe {

namespace {

Table callsOf(const char* key, const char* title, const std::map<std::string, Counted>& side,
              bool times) {
    Table table{.key = key,
                .title = title,
                .columns = {{"operation", "Operation"},
                            {"calls", "Calls", Align::kRight},
                            {"failures", "Failures", Align::kRight},
                            {"nulls", "Nulls", Align::kRight}},
                .rows = {},
                .whenEmpty = "Nothing was called.",
                .footer = ""};
    if (times) {
        table.columns.push_back({"totalMs", "Total ms", Align::kRight});
        table.columns.push_back({"longestMs", "Longest ms", Align::kRight});
    }
    constexpr double kNsPerMs = 1e6;
    for (const auto& [name, counted] : side) {
        if (counted.calls == 0) continue;
        table.rows.push_back({name, counted.calls, counted.failures, counted.nulls});
        if (!times) continue;
        table.rows.back().push_back(static_cast<double>(counted.totalNs) / kNsPerMs);
        table.rows.back().push_back(static_cast<double>(counted.longestNs) / kNsPerMs);
    }
    return table;
}

bool hasTimes(const std::map<std::string, Counted>& side) {
    return std::ranges::any_of(side, [](const auto& entry) { return entry.second.totalNs != 0; });
}

}  // namespace

Report coverageReport(const CoverageData& data) {
    const std::vector<std::string> never = neverCalled(data);
    Table neverTable{.key = "never",
                     .title = "Never called",
                     .columns = {{"operation", "Operation"}},
                     .rows = {},
                     .whenEmpty = "Every operation that was offered was called.",
                     .footer = ""};
    for (const std::string& name : never) neverTable.rows.push_back({name});
    const size_t offered = data.platform.size();
    const bool times = hasTimes(data.platform) || hasTimes(data.host);
    Report report(Fields{"coverage",
                         "Coverage",
                         {{"runs", "Runs", data.runs},
                          {"offered", "Operations offered", offered},
                          {"called", "Operations called", offered - never.size()},
                          {"percent", "Percent", percentCalled(data)}}});
    report.add(callsOf("platform", "Calls into the platform", data.platform, times));
    report.add(callsOf("host", "Calls into the host", data.host, times));
    report.add(std::move(neverTable));
    return report;
}

}  // namespace pcsim::probe
