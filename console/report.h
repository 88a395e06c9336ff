// What a 'show' command answers: sections of named fields and tables, rendered as aligned text for
// a terminal or as JSON of the same data.
#ifndef PCSIM_CONSOLE_REPORT_H
#define PCSIM_CONSOLE_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace pcsim {

// A value with the text that a table shows for it. Numbers stay numbers in JSON.
class Cell {
public:
    using Value = std::variant<std::monostate, bool, int64_t, uint64_t, double, std::string>;

    Cell();
    Cell(const char* text);
    Cell(std::string text);
    Cell(bool yes);
    // With two digits behind the point.
    Cell(double number);
    template <typename Number>
    requires(std::is_integral_v<Number> && !std::is_same_v<Number, bool>) Cell(Number number)
        : Cell(Integer{std::is_signed_v<Number>, static_cast<uint64_t>(number)}) {}
    // A value that is shown in another form, e.g. a number in hexadecimal.
    Cell(Cell value, std::string text);
    Cell(const Cell&);
    Cell(Cell&&) noexcept;
    Cell& operator=(const Cell&);
    Cell& operator=(Cell&&) noexcept;
    ~Cell();

    const Value& value() const { return value_; }
    const std::string& text() const { return text_; }
    // The value as plain text, as scripts compare it.
    std::string plain() const;

private:
    struct Integer {
        bool isSigned;
        uint64_t bits;
    };
    explicit Cell(Integer integer);

    Value value_;
    std::string text_;
};

// "0x0000000f" for people, 15 for programs.
Cell hexCell(uint32_t value);

// Keys and titles of what a report is made of are literals.
struct Field {
    const char* key;
    const char* title;
    Cell value;
};

// Named values, one per line.
struct Fields {
    const char* key;
    std::string title;
    std::vector<Field> fields;
};

enum class Align { kLeft, kRight };

struct Column {
    const char* key;
    const char* title;
    Align align = Align::kLeft;
};

enum class Cut { kEnd, kMiddle };  // what of a long text is left out

// A column whose texts are shortened when the table is too wide. The values, which JSON has, stay.
struct Flexible {
    size_t column;
    Cut cut;
};

// Rows of equal shape. The first column names the row. Where no column has a title, the text is the
// rows alone, each a line of its cells.
struct Table {
    const char* key;
    std::string title;
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
    std::string whenEmpty;  // shown instead of a table without rows
    std::string footer;     // a line below the rows, e.g. how many were left out
    std::vector<Flexible> flexible = {};
    bool forPrograms = false;  // in JSON, and where a value is asked for, but no text for people
};

// Columns of what is no terminal, or doesn't say.
inline constexpr size_t kTerminalWidth = 80;

// What a report is printed on.
struct Page {
    size_t width = kTerminalWidth;
    bool terminal = false;  // nothing is wider than it: rows fold into blocks, and fields wrap
    bool coloured = false;
};

class Report {
public:
    Report();
    Report(Fields fields);
    Report(Table table);
    Report(const Report&);
    Report(Report&&) noexcept;
    Report& operator=(const Report&);
    Report& operator=(Report&&) noexcept;
    ~Report();

    Report& add(Fields fields);
    Report& add(Table table);

    std::string text(const Page& page = {}) const;
    enum class Json { kLines, kCompact };  // for people to read, or without blanks
    std::string json(Json form = Json::kLines) const;

    // The value at a path: "field", "section.field", "row.column", "section.row.column" or
    // "section.count" (number of rows). Null when there is none.
    std::optional<Cell> at(const std::string& path) const;
    // The table of which 'path' is the number of rows: "count" or "section.count". Null when there
    // is none.
    const Table* tableCounted(const std::string& path) const;
    // What at() would find, a row for each: "ports.ROW.link", with its title and its section's.
    Table keys() const;
    // Paths of all values that there are, at most so many.
    std::vector<std::string> paths(size_t most) const;
    // What at() would find, for a message: "model, ports.count, ports.ROW.link, ...".
    std::string names() const;

private:
    std::vector<std::variant<Fields, Table>> sections_;
};

}  // namespace pcsim

#endif
