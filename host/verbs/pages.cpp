// Ranges of rows, and what is told of them.
#include "host/verbs/pages.h"

#include <fmt/core.h>

#include "console/present.h"

namespace pcsim::host {

RowRange rowRangeOf(pcsim::Call& call, uint64_t limit) {
    return {call.numberOr("from", 0), call.numberOr("limit", limit), kHighestLimit};
}

void Pages::note(Table& table, const RowRange& range, uint64_t matching, const char* noun) {
    const uint64_t shown = range.countOf(matching), end = range.from + shown;
    rows_.push_back({table.key, range.from, shown, matching});
    if (shown == matching) return;
    const std::string rows =
        shown == 1 ? fmt::format("number {}", end) : fmt::format("{} to {}", range.from + 1, end);
    if (shown == 0)
        table.whenEmpty =
            fmt::format("none from {} on; the last is 'from {}'", range.from, matching - 1);
    else if (range.from == 0)
        table.footer = firstRows(shown, matching, noun, range.highestLimit);
    else
        table.footer = fmt::format("{} of {} {}{}", rows, matching, noun,
                                   end < matching ? fmt::format("; 'from {}' goes on", end) : "");
}

Table Pages::table() const {
    Table table{"pages", "", {{"table", ""}, {"from", ""}, {"shown", ""}, {"matching", ""}},
                rows_,   "", ""};
    table.forPrograms = true;
    return table;
}

}  // namespace pcsim::host
