// Rows and sums of what the sites have counted.
#include "probe/coverage/coverage.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "probe/interface/names.h"

namespace pcsim::probe {

namespace {

constexpr std::string_view kByName = "by name";

// Where a word lies in a table, also when it is a part of a record inside.
bool findWord(const Record& record, std::string_view name, uint32_t& offset) {
    for (const Field& field : record.fields) {
        uint32_t inside = 0;
        const bool found = field.name == name || (field.type->kind == Kind::kRecord &&
                                                  findWord(*field.type->record, name, inside));
        if (!found) continue;
        offset = field.offset + inside;
        return true;
    }
    return false;
}

// The database that an operation table is a part of, as words are numbered; else the table itself.
const Record* numberedIn(std::string_view table) {
    for (const Record& record : records())
        for (const Field& field : record.fields)
            if (field.type->kind == Kind::kRecord && field.type->record->name == table)
                return &record;
    return recordNamed(table);
}

CoverageRow rowOf(const Site& site) {
    CoverageRow row{};
    row.operation = site.name;
    row.side = site.side;
    if (!site.table.empty()) {
        row.table = shortTableName(site.table, site.name);
        row.word = site.word;
        uint32_t offset = 0;
        const Record* const record = numberedIn(site.table);
        if (record != nullptr && findWord(*record, site.word, offset))
            row.wordIndex = offset / static_cast<uint32_t>(sizeof(Word));
    }
    const auto read = [](const std::atomic<uint64_t>& counter) {
        return counter.load(std::memory_order_relaxed);
    };
    row.calls = read(site.counts->calls);
    row.failures = read(site.counts->failures);
    row.nulls = read(site.counts->nulls);
    row.totalNs = read(site.counts->totalNs);
    row.longestNs = read(site.counts->longestNs);
    return row;
}

// What is in no table is of interest only once it is called: a HAL calls most of what the library
// exports by way of tables.
bool isOfInterest(const CoverageRow& row) {
    return !row.table.empty() || row.calls != 0;
}

}  // namespace

std::vector<CoverageRow> coverageOf(std::span<Site* const> sites) {
    std::vector<CoverageRow> rows;
    for (const Site* site : sites) {
        CoverageRow row = rowOf(*site);
        if (!isOfInterest(row)) continue;
        rows.push_back(std::move(row));
    }
    const auto place = [](const CoverageRow& row) {
        return std::tuple(row.table.empty(), row.side, tableOrder(row.table), row.table,
                          row.wordIndex);
    };
    std::ranges::stable_sort(rows, {}, place);
    return rows;
}

std::string_view groupOf(const CoverageRow& row) {
    if (!row.table.empty()) return row.table;
    switch (row.side) {
        case Side::kPlatform:
            return kByName;
        case Side::kSystem:
            return "C library";
        case Side::kHost:
            break;
    }
    return "host";
}

std::vector<CoverageSum> sumsOf(const std::vector<CoverageRow>& rows) {
    std::vector<CoverageSum> sums;
    for (const CoverageRow& row : rows) {
        const std::string_view group = groupOf(row);
        if (sums.empty() || sums.back().name != group) {
            sums.emplace_back();
            sums.back().name = group;
        }
        CoverageSum& sum = sums.back();
        ++sum.operations;
        sum.called += row.calls != 0 ? 1 : 0;
        sum.calls += row.calls;
        sum.failures += row.failures;
        sum.nulls += row.nulls;
        sum.totalNs += row.totalNs;
        sum.longestNs = std::max(sum.longestNs, row.longestNs);
    }
    return sums;
}

std::string durationText(uint64_t ns) {
    static constexpr std::pair<uint64_t, const char*> kUnits[] = {
        {1000000000, "s"}, {1000000, "ms"}, {1000, "us"}};
    for (const auto& [unit, name] : kUnits) {
        if (ns < unit) continue;
        const uint64_t whole = ns / unit;
        const uint64_t digits = whole < 10 ? 2 : whole < 100 ? 1 : 0;
        std::string text = std::to_string(whole);
        if (digits != 0) {
            const uint64_t scale = digits == 2 ? 100 : 10;
            std::string part = std::to_string(ns % unit * scale / unit);
            text += "." + std::string(digits - part.size(), '0') + part;
        }
        return text + " " + name;
    }
    return std::to_string(ns) + " ns";
}

}  // namespace pcsim::probe
