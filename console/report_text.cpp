// Reports as aligned text.
#include <fmt/core.h>

#include <algorithm>
#include <cstring>

#include "console/report.h"

namespace pcsim {

namespace {

std::string padded(const std::string& text, size_t width, Align align) {
    return align == Align::kLeft ? fmt::format("{:<{}}", text, width)
                                 : fmt::format("{:>{}}", text, width);
}

void trimEnd(std::string& line) {
    while (!line.empty() && line.back() == ' ') line.pop_back();
}

std::string textOf(const Fields& fields) {
    size_t width = 0;
    for (const Field& field : fields.fields) width = std::max(width, std::strlen(field.title));
    std::string result = fields.title.empty() ? "" : fields.title + "\n";
    for (const Field& field : fields.fields) {
        std::string line = fmt::format("  {:<{}}  {}", field.title, width, field.value.text());
        trimEnd(line);
        result += line + "\n";
    }
    return result;
}

// The rows alone, as they could be typed.
std::string plainTextOf(const Table& table) {
    std::string result;
    for (const auto& row : table.rows) {
        for (size_t i = 0; i < row.size(); ++i) result += (i == 0 ? "" : " ") + row[i].text();
        result += '\n';
    }
    return result;
}

std::string textOf(const Table& table) {
    std::string result = table.title.empty() ? "" : table.title + "\n";
    if (table.rows.empty()) {
        return result + "  " + (table.whenEmpty.empty() ? "none" : table.whenEmpty) + "\n";
    }
    const auto hasTitle = [](const Column& column) { return *column.title != '\0'; };
    if (std::ranges::none_of(table.columns, hasTitle)) return plainTextOf(table);
    std::vector<size_t> widths;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        size_t width = std::strlen(table.columns[i].title);
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
    addLine([&](size_t i) { return std::string(table.columns[i].title); });
    addLine([&](size_t i) { return std::string(widths[i], '-'); });
    for (const auto& row : table.rows) addLine([&](size_t i) { return row[i].text(); });
    if (!table.footer.empty()) result += "  " + table.footer + "\n";
    return result;
}

}  // namespace

std::string Report::text() const {
    std::string result;
    for (const auto& section : sections_) {
        if (!result.empty()) result += "\n";
        result += std::visit([](const auto& part) { return textOf(part); }, section);
    }
    return result;
}

}  // namespace pcsim
