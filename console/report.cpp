// Cells, and reports asked for single values.
#include "console/report.h"

#include <fmt/core.h>

#include <cstring>

namespace pcsim {

namespace {

std::optional<Cell> at(const Fields& fields, const std::string& path) {
    for (const Field& field : fields.fields)
        if (field.key == path) return field.value;
    return std::nullopt;
}

std::optional<Cell> at(const Table& table, const std::string& path) {
    if (path == "count") return Cell(table.rows.size());
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos) return std::nullopt;
    for (const auto& row : table.rows) {
        if (row.empty() || row[0].plain() != path.substr(0, dot)) continue;
        for (size_t i = 0; i < row.size(); ++i)
            if (table.columns[i].key == path.substr(dot + 1)) return row[i];
    }
    return std::nullopt;
}

void appendName(std::string& names, const std::string& name) {
    names += (names.empty() ? "" : ", ") + name;
}

void appendNames(std::string& names, const Fields& fields) {
    for (const Field& field : fields.fields) appendName(names, field.key);
}

void appendNames(std::string& names, const Table& table) {
    if (table.forPrograms) return;
    appendName(names, std::string(table.key) + ".count");
    for (const Column& column : table.columns) appendName(names, std::string("ROW.") + column.key);
}

void appendPaths(std::vector<std::string>& paths, const Fields& fields, size_t) {
    for (const Field& field : fields.fields) paths.emplace_back(field.key);
}

void appendPaths(std::vector<std::string>& paths, const Table& table, size_t most) {
    if (table.forPrograms) return;
    paths.push_back(std::string(table.key) + ".count");
    for (const auto& row : table.rows)
        for (size_t i = 1; i < row.size() && paths.size() < most; ++i)
            paths.push_back(row[0].plain() + "." + table.columns[i].key);
}

}  // namespace

Cell::Cell() : text_("-") {}
Cell::Cell(const char* text) : value_(std::string(text)), text_(text) {}
Cell::Cell(std::string text) : value_(text), text_(std::move(text)) {}
Cell::Cell(bool yes) : value_(yes), text_(yes ? "yes" : "no") {}
Cell::Cell(double number) : value_(number), text_(fmt::format("{:.2f}", number)) {}
Cell::Cell(Integer integer) {
    if (integer.isSigned)
        value_ = static_cast<int64_t>(integer.bits);
    else
        value_ = integer.bits;
    text_ = plain();
}
Cell::Cell(Cell value, std::string text)
    : value_(std::move(value.value_)), text_(std::move(text)) {}
// The C++ library takes a variant of such alternatives to be never without one, and destroys one
// that is not there when its copy runs out of memory. So what can fail happens before, by itself.
Cell::Cell(const Cell& other) : text_(other.text_) {
    if (const auto* const text = std::get_if<std::string>(&other.value_))
        value_ = std::string(*text);
    else
        value_ = other.value_;
}
Cell::Cell(Cell&&) noexcept = default;
Cell& Cell::operator=(const Cell& other) {
    return *this = Cell(other);
}
Cell& Cell::operator=(Cell&&) noexcept = default;
Cell::~Cell() = default;

Report::Report() = default;
Report::Report(Fields fields) {
    sections_.emplace_back(std::move(fields));
}
Report::Report(Table table) {
    sections_.emplace_back(std::move(table));
}
Report::Report(const Report&) = default;
Report::Report(Report&&) noexcept = default;
Report& Report::operator=(const Report&) = default;
Report& Report::operator=(Report&&) noexcept = default;
Report::~Report() = default;

std::string Cell::plain() const {
    if (const auto* text = std::get_if<std::string>(&value_)) return *text;
    if (const auto* number = std::get_if<int64_t>(&value_)) return fmt::format("{}", *number);
    if (const auto* number = std::get_if<uint64_t>(&value_)) return fmt::format("{}", *number);
    return text_;
}

Cell hexCell(uint32_t value) {
    return Cell(Cell(value), fmt::format("0x{:08x}", value));
}

Report& Report::add(Fields fields) {
    sections_.emplace_back(std::move(fields));
    return *this;
}

Report& Report::add(Table table) {
    sections_.emplace_back(std::move(table));
    return *this;
}

std::optional<Cell> Report::at(const std::string& path) const {
    for (const auto& section : sections_) {
        const auto found = std::visit(
            [&](const auto& part) -> std::optional<Cell> {
                if (auto cell = pcsim::at(part, path)) return cell;
                if (path.starts_with(std::string(part.key) + "."))
                    return pcsim::at(part, path.substr(std::strlen(part.key) + 1));
                return std::nullopt;
            },
            section);
        if (found) return found;
    }
    return std::nullopt;
}

Table Report::keys() const {
    Table keys{"keys", "Values", {{"value", "Value"}, {"title", "Title"}, {"section", "Section"}},
               {},     "none",   ""};
    const auto add = [&](const std::string& value, const char* title, const std::string& section) {
        keys.rows.push_back({value, title, section});
    };
    for (const auto& section : sections_) {
        if (const auto* const fields = std::get_if<Fields>(&section)) {
            for (const Field& field : fields->fields)
                add(fmt::format("{}.{}", fields->key, field.key), field.title, fields->title);
            continue;
        }
        const Table& table = std::get<Table>(section);
        add(fmt::format("{}.count", table.key), "", table.title);
        for (const Column& column : table.columns)
            add(fmt::format("{}.ROW.{}", table.key, column.key), column.title, table.title);
    }
    return keys;
}

const Table* Report::tableCounted(const std::string& path) const {
    for (const auto& section : sections_) {
        const auto* table = std::get_if<Table>(&section);
        if (table != nullptr && (path == "count" || path == std::string(table->key) + ".count"))
            return table;
    }
    return nullptr;
}

std::string Report::names() const {
    std::string names;
    for (const auto& section : sections_)
        std::visit([&](const auto& part) { appendNames(names, part); }, section);
    return names;
}

std::vector<std::string> Report::paths(size_t most) const {
    std::vector<std::string> paths;
    for (const auto& section : sections_)
        std::visit([&](const auto& part) { appendPaths(paths, part, most); }, section);
    return paths;
}

}  // namespace pcsim
