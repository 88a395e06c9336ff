// Verbs of coverage and times.
#include "probe/boundary/boundary.h"
#include "probe/coverage/coverage.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

namespace {

// A time for people, nanoseconds for programs.
Cell durationCell(uint64_t ns) {
    return {Cell(ns), ns == 0 ? "" : durationText(ns)};
}

void addCounts(std::vector<Column>& columns, bool times) {
    columns.push_back({"calls", "Calls", Align::kRight});
    columns.push_back({"failures", "Failures", Align::kRight});
    columns.push_back({"nulls", "Nulls", Align::kRight});
    if (!times) return;
    columns.push_back({"totalNs", "Total", Align::kRight});
    columns.push_back({"longestNs", "Longest", Align::kRight});
}

template <typename Counted>
void addCounts(std::vector<Cell>& cells, const Counted& counted, bool times) {
    cells.insert(cells.end(), {counted.calls, counted.failures, counted.nulls});
    if (!times) return;
    cells.push_back(durationCell(counted.totalNs));
    cells.push_back(durationCell(counted.longestNs));
}

Table tablesOf(const std::vector<CoverageRow>& rows, bool times) {
    Table table{"tables",
                "Tables",
                {{"table", "Table"},
                 {"operations", "Operations", Align::kRight},
                 {"called", "Called", Align::kRight},
                 {"never", "Never", Align::kRight}},
                {},
                "none",
                ""};
    addCounts(table.columns, times);
    for (const CoverageSum& sum : sumsOf(rows)) {
        table.rows.push_back({sum.name, sum.operations, sum.called, sum.operations - sum.called});
        addCounts(table.rows.back(), sum, times);
    }
    return table;
}

Table operationsOf(const std::vector<CoverageRow>& rows, bool never, bool times) {
    Table table{"operations",
                never ? "Operations never called" : "Operations",
                {{"operation", "Operation"}, {"table", "Table"}},
                {},
                "none",
                ""};
    // Times take the place of what is shown without them.
    if (!times) table.columns.push_back({"word", "Word", Align::kRight});
    addCounts(table.columns, times);
    for (const CoverageRow& row : rows) {
        if (never && row.calls != 0) continue;
        std::vector<Cell> cells{row.operation, std::string(groupOf(row))};
        if (!times) cells.push_back(row.table.empty() ? Cell() : Cell(row.wordIndex));
        addCounts(cells, row, times);
        table.rows.push_back(std::move(cells));
    }
    return table;
}

}  // namespace

void addCoverageVerbs(Verbs& verbs) {
    verbs.show("show coverage [never] [times]",
               "which operations were called, how often, and for how long", [](pcsim::Call& call) {
                   const auto rows = coverageOf(Boundary::instance().sites());
                   const bool times = call.given("times");
                   return Report(tablesOf(rows, times))
                       .add(operationsOf(rows, call.given("never"), times));
               });
    verbs.action(
        "times <state:on|off>", "take the time of every call, or not",
        [](pcsim::Call& call) { Boundary::instance().takeTimes(call.text("state") == "on"); });
}

}  // namespace pcsim::probe
