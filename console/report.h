// What a 'show' command answers: sections of named fields and tables, rendered as aligned text for
// a terminal of 80 columns or as JSON of the same data.
#ifndef PCSIM_CONSOLE_REPORT_H
#define PCSIM_CONSOLE_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "console/error.h"

namespace pcsim::host {

// A value with the text that a table shows for it. Numbers stay numbers in JSON.
class Cell {
public:
    using Value = std::variant<std::monostate, bool, int64_t, uint64_t, std::string>;

    Cell() : text_("-") {}
    Cell(const char* text) : value_(std::string(text)), text_(text) {}
    Cell(std::string text) : value_(text), text_(std::move(text)) {}
    Cell(bool yes) : value_(yes), text_(yes ? "yes" : "no") {}
    template <typename Number>
    requires(std::is_integral_v<Number> && !std::is_same_v<Number, bool>) Cell(Number number)
        : text_(fmt::format("{}", number)) {
        if constexpr (std::is_signed_v<Number>)
            value_ = static_cast<int64_t>(number);
        else
            value_ = static_cast<uint64_t>(number);
    }
    // A value that is shown in another form, e.g. a number in hexadecimal.
    Cell(Cell value, std::string text) : value_(std::move(value.value_)), text_(std::move(text)) {}

    const Value& value() const { return value_; }
    const std::string& text() const { return text_; }
    // The value as plain text, as scripts compare it.
    std::string plain() const;

private:
    Value value_;
    std::string text_;
};

// "0x0000000f" for people, 15 for programs.
Cell hexCell(uint32_t value);

struct Field {
    std::string key;
    std::string title;
    Cell value;
};

// Named values, one per line.
struct Fields {
    std::string key;
    std::string title;
    std::vector<Field> fields;
};

enum class Align { kLeft, kRight };

struct Column {
    std::string key;
    std::string title;
    Align align = Align::kLeft;
};

// Rows of equal shape. The first column names the row.
struct Table {
    std::string key;
    std::string title;
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
    std::string whenEmpty;  // shown instead of a table without rows
    std::string footer;     // a line below the rows, e.g. how many were left out
};

class Report {
public:
    Report() = default;
    Report(Fields fields) { sections_.emplace_back(std::move(fields)); }
    Report(Table table) { sections_.emplace_back(std::move(table)); }

    Report& add(Fields fields);
    Report& add(Table table);

    std::string text() const;
    std::string json() const;

    // The value at a path: "field", "section.field", "row.column", "section.row.column" or
    // "section.count" (number of rows). Null when there is none.
    std::optional<Cell> at(const std::string& path) const;

private:
    std::vector<std::variant<Fields, Table>> sections_;
};

}  // namespace pcsim::host

#endif
