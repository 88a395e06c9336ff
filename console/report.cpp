// Rendering of reports.
#include "console/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace pcsim::host {

namespace {

nlohmann::ordered_json jsonOf(const Cell& cell) {
    return std::visit(
        [](const auto& value) -> nlohmann::ordered_json {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return nullptr;
            else
                return value;
        },
        cell.value());
}

nlohmann::ordered_json jsonOf(const Fields& fields) {
    auto object = nlohmann::ordered_json::object();
    for (const Field& field : fields.fields) object[field.key] = jsonOf(field.value);
    return object;
}

nlohmann::ordered_json jsonOf(const Table& table) {
    auto rows = nlohmann::ordered_json::array();
    for (const auto& row : table.rows) {
        auto object = nlohmann::ordered_json::object();
        for (size_t i = 0; i < row.size(); ++i) object[table.columns[i].key] = jsonOf(row[i]);
        rows.push_back(std::move(object));
    }
    return rows;
}

std::string padded(const std::string& text, size_t width, Align align) {
    return align == Align::kLeft ? fmt::format("{:<{}}", text, width)
                                 : fmt::format("{:>{}}", text, width);
}

void trimEnd(std::string& line) {
    while (!line.empty() && line.back() == ' ') line.pop_back();
}

std::string textOf(const Fields& fields) {
    size_t width = 0;
    for (const Field& field : fields.fields) width = std::max(width, field.title.size());
    std::string result = fields.title.empty() ? "" : fields.title + "\n";
    for (const Field& field : fields.fields) {
        std::string line = fmt::format("  {:<{}}  {}", field.title, width, field.value.text());
        trimEnd(line);
        result += line + "\n";
    }
    return result;
}

std::string textOf(const Table& table) {
    std::string result = table.title.empty() ? "" : table.title + "\n";
    if (table.rows.empty()) {
        return result + "  " + (table.whenEmpty.empty() ? "none" : table.whenEmpty) + "\n";
    }
    std::vector<size_t> widths;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        size_t width = table.columns[i].title.size();
        for (const auto& row : table.rows) width = std::max(width, row[i].text().size());
        widths.push_back(width);
    }
    const auto addLine = [&](const auto& textOfColumn) {
        std::string line = " ";
        for (size_t i = 0; i < widths.size(); ++i)
            line += " " + padded(textOfColumn(i), widths[i], table.columns[i].align) + " ";
        trimEnd(line);
        result += line + "\n";
    };
    addLine([&](size_t i) { return table.columns[i].title; });
    addLine([&](size_t i) { return std::string(widths[i], '-'); });
    for (const auto& row : table.rows) addLine([&](size_t i) { return row[i].text(); });
    if (!table.footer.empty()) result += "  " + table.footer + "\n";
    return result;
}

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

}  // namespace

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

std::string Report::text() const {
    std::string result;
    for (const auto& section : sections_) {
        if (!result.empty()) result += "\n";
        result += std::visit([](const auto& part) { return textOf(part); }, section);
    }
    return result;
}

std::string Report::json() const {
    auto object = nlohmann::ordered_json::object();
    for (const auto& section : sections_)
        std::visit([&](const auto& part) { object[part.key] = jsonOf(part); }, section);
    return object.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::optional<Cell> Report::at(const std::string& path) const {
    for (const auto& section : sections_) {
        const auto found = std::visit(
            [&](const auto& part) -> std::optional<Cell> {
                if (auto cell = host::at(part, path)) return cell;
                if (path.starts_with(part.key + "."))
                    return host::at(part, path.substr(part.key.size() + 1));
                return std::nullopt;
            },
            section);
        if (found) return found;
    }
    return std::nullopt;
}

}  // namespace pcsim::host
