// Relations as a table.
#include "console/relation.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "console/error.h"
#include "console/text.h"

namespace pcsim {

namespace {

// Values are 64-bit numbers with a sign or without: both fit only in a sign and a magnitude. A
// fraction stands behind that.
struct Number {
    bool negative = false;
    uint64_t magnitude = 0;
    double fraction = 0;

    static std::optional<Number> of(std::string_view text) {
        Number number;
        number.negative = text.starts_with('-');
        if (number.negative) text.remove_prefix(1);
        const char* const end = text.data() + text.size();
        const auto [last, error] = std::from_chars(text.data(), end, number.magnitude);
        if (error != std::errc()) return std::nullopt;
        if (last != end) {
            const auto [lastDigit, wrong] =
                std::from_chars(last, end, number.fraction, std::chars_format::fixed);
            if (*last != '.' || lastDigit != end || wrong != std::errc()) return std::nullopt;
        }
        if (number.magnitude == 0 && number.fraction == 0) number.negative = false;
        return number;
    }

    // Less than 0, 0, or more: as this is less than the other one, the same, or more.
    int compare(const Number& other) const {
        if (negative != other.negative) return negative ? -1 : 1;
        int result = (magnitude > other.magnitude) - (magnitude < other.magnitude);
        if (result == 0) result = (fraction > other.fraction) - (fraction < other.fraction);
        return negative ? -result : result;
    }
};

}  // namespace

// Either of texts, or of how a number compares: less than 0, 0 or more.
struct Relation::Row {
    const char* name;
    bool (*text)(const Cell& cell, const std::string& wanted);
    bool (*number)(int comparison);
    bool pattern = false;
};

namespace {

// Either form counts: "is 15" and "is 0x0000000f" mean the same cell.
bool isSame(const Cell& cell, const std::string& wanted) {
    return cell.plain() == wanted || cell.text() == wanted;
}

bool contains(const Cell& cell, const std::string& wanted) {
    return cell.plain().find(wanted) != std::string::npos;
}

const Relation::Row kRows[] = {
    {"is", isSame, nullptr},
    {"not", [](const Cell& cell, const std::string& wanted) { return !isSame(cell, wanted); },
     nullptr},
    {"contains", contains, nullptr},
    {"not-contains",
     [](const Cell& cell, const std::string& wanted) { return !contains(cell, wanted); }, nullptr},
    {"matches", nullptr, nullptr, true},
    {"at-least", nullptr, [](int comparison) { return comparison >= 0; }},
    {"at-most", nullptr, [](int comparison) { return comparison <= 0; }},
    {"more-than", nullptr, [](int comparison) { return comparison > 0; }},
    {"less-than", nullptr, [](int comparison) { return comparison < 0; }},
};

Number numberOf(const std::string& text, const char* relation) {
    const auto number = Number::of(text);
    if (!number) fail("'{}' is not a number; {} compares numbers", shown(text), relation);
    return *number;
}

}  // namespace

Relation::Relation(const std::string& name, std::string wanted) : wanted_(std::move(wanted)) {
    row_ = std::ranges::find_if(kRows, [&](const Row& row) { return name == row.name; });
    if (row_ == std::end(kRows)) {
        const Words& all = names();
        fail("'{}' is no relation; expected {} or {}", shown(name),
             joinWords(all, all.size() - 1, ", "), all.back());
    }
    if (row_->pattern) regex_.emplace(wanted_);
    if (row_->number != nullptr) static_cast<void>(numberOf(wanted_, row_->name));
}

bool Relation::holds(const Cell& cell) const {
    if (row_->text != nullptr) return row_->text(cell, wanted_);
    if (row_->pattern) return regex_->isIn(cell.plain());
    if (std::holds_alternative<std::monostate>(cell.value())) return false;
    const Number is = numberOf(cell.plain(), row_->name);
    return row_->number(is.compare(*Number::of(wanted_)));
}

const Words& Relation::names() {
    static const Words all = [] {
        Words names;
        for (const Row& row : kRows) names.emplace_back(row.name);
        return names;
    }();
    return all;
}

bool Relation::isOne(const std::string& name) {
    return std::ranges::count(names(), name) != 0;
}

}  // namespace pcsim
