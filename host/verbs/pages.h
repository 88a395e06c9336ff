// Listings in pages: which of all rows that match a command wants, and how it is told that there
// are others. Where several tables are in one answer, each has its page of them.
#ifndef PCSIM_HOST_VERBS_PAGES_H
#define PCSIM_HOST_VERBS_PAGES_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "console/report.h"
#include "console/verbs.h"

namespace pcsim::host {

// Rows of a listing, unless the command says how many.
inline constexpr uint64_t kDefaultRows = 100, kHighestLimit = 1000000;

// What [limit <limit>] and [from <from>] say.
struct RowRange {
    uint64_t from = 0;  // the first row; 0 is the first of all
    uint64_t limit = kDefaultRows;
    uint64_t highestLimit = kHighestLimit;  // that the command takes

    bool has(uint64_t row) const { return row >= from && row - from < limit; }
    // How many rows of so many are in it.
    uint64_t countOf(uint64_t total) const {
        return std::min(limit, total - std::min(from, total));
    }
};
RowRange rowRangeOf(pcsim::Call& call, uint64_t limit = kDefaultRows);

// Those of 'rows' that are in the range, in order; the others are not put in order, which with a
// million takes far longer. 'before' the rows are so many others.
template <typename Row, typename Order>
std::span<Row> pageOf(std::vector<Row>& rows, const RowRange& range, uint64_t before, Order order) {
    const uint64_t end = before + rows.size();
    const auto at = [&](uint64_t row) {
        return rows.begin() + static_cast<ptrdiff_t>(std::clamp(row, before, end) - before);
    };
    const auto first = at(range.from), last = at(range.from + range.limit);
    if (last != rows.end()) std::nth_element(rows.begin(), last, rows.end(), order);
    if (first != last) std::nth_element(rows.begin(), first, last, order);
    std::sort(first, last, order);
    return {first, last};
}

// The pages of an answer.
class Pages {
public:
    // The table has what is in the range of so many rows: people are told below it.
    void note(Table& table, const RowRange& range, uint64_t matching, const char* noun);
    // For programs: "table", "from", "shown" and "matching" of each.
    Table table() const;

private:
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace pcsim::host

#endif
