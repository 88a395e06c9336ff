// Wrapping of lines and shortening of tables.
#include "console/present.h"

#include <fmt/core.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstring>

namespace pcsim {

namespace {

constexpr size_t kLeast = 12;  // what is left of a column at least

std::string withoutEnd(const std::string& text, size_t width) {
    size_t end = width - kLeftOut.size() - 1;
    // Between words, when one is near.
    const size_t blank = text.rfind(' ', end);
    if (blank != std::string::npos && blank > end / 2) end = blank;
    return text.substr(0, end) + " " + std::string(kLeftOut);
}

std::string withoutMiddle(const std::string& text, size_t width) {
    const size_t kept = width - kLeftOut.size(), tail = kept / 3;
    return text.substr(0, kept - tail) + std::string(kLeftOut) + text.substr(text.size() - tail);
}

size_t columnWidth(const Table& table, size_t column) {
    size_t width = std::strlen(table.columns[column].title);
    for (const auto& row : table.rows) width = std::max(width, row[column].text().size());
    return width;
}

}  // namespace

void appendWrapped(std::string& result, std::string_view text, size_t column, size_t width) {
    size_t lineStart = result.rfind('\n') + 1;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const bool first = at == 0;
        if (!first && result.size() + 1 + end - at > lineStart + width) {
            lineStart = result.size() + 1;
            result += "\n" + std::string(column, ' ');
        } else if (!first) {
            result += ' ';
        }
        result.append(text, at, end - at);
        at = end + 1;
    }
}

size_t widthOf(int descriptor) {
    winsize size{};
    const bool told = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return told ? size.ws_col : kTerminalWidth;
}

std::string wrappedFor(int descriptor, const std::string& line) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return line;
    std::string result;
    appendWrapped(result, line, 2, size.ws_col);
    return result;
}

std::string firstRows(uint64_t shown, uint64_t total, const char* noun, uint64_t highestLimit) {
    return fmt::format("the first {} of {} {}{}", shown, total, noun,
                       shown < highestLimit ? "; 'limit' shows more" : "");
}

void fitTable(Table& table, std::initializer_list<Flexible> columns) {
    // Each column has a blank on both sides, the first one more, and the last needs none behind it.
    size_t total = 2 * table.columns.size();
    for (size_t i = 0; i < table.columns.size(); ++i) total += columnWidth(table, i);
    if (table.rows.empty() || total <= kTerminalWidth) return;
    struct Width {
        size_t now, least;
        size_t spare() const { return now > least ? now - least : 0; }
    };
    std::vector<Width> widths;
    for (const Flexible& flexible : columns)
        widths.push_back({columnWidth(table, flexible.column),
                          std::max(kLeast, std::strlen(table.columns[flexible.column].title))});
    for (; total > kTerminalWidth; --total) {
        const auto widest = std::max_element(widths.begin(), widths.end(), [](auto& a, auto& b) {
            return std::pair(a.spare() != 0, a.now) < std::pair(b.spare() != 0, b.now);
        });
        if (widest->spare() == 0) break;
        --widest->now;
    }
    bool cut = false;
    for (size_t i = 0; i < widths.size(); ++i) {
        const Flexible& flexible = columns.begin()[i];
        for (auto& row : table.rows) {
            Cell& cell = row[flexible.column];
            if (cell.text().size() <= widths[i].now) continue;
            cell =
                Cell(cell, flexible.cut == Cut::kEnd ? withoutEnd(cell.text(), widths[i].now)
                                                     : withoutMiddle(cell.text(), widths[i].now));
            cut = true;
        }
    }
    if (cut)
        table.footer +=
            std::string(table.footer.empty() ? "" : "; ") + "...: cut to fit, --json has it all";
}

}  // namespace pcsim
