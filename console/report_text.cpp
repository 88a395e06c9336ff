// Reports as aligned text.
#include <fmt/core.h>

#include <algorithm>
#include <cstring>

#include "console/mood.h"
#include "console/present.h"
#include "console/report.h"
#include "console/text.h"

namespace pcsim {

namespace {

constexpr size_t kLeast = 12;  // what is left of a column at least
constexpr size_t kMargin = 2;  // before every line, and between columns

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

void trimEnd(std::string& line) {
    while (!line.empty() && line.back() == ' ') line.pop_back();
}

// A line of words, on several when the page is narrow.
std::string pageLine(const std::string& text, size_t indent, const Page& page) {
    std::string line(indent, ' ');
    if (page.terminal)
        appendWrapped(line, text, indent, page.width);
    else
        line += text;
    return line + "\n";
}

// "  Title  value" with the values below each other.
std::string fieldLine(const char* key, const char* title, const std::string& value,
                      size_t titleWidth, const Page& page) {
    const size_t column = kMargin + titleWidth + kMargin;
    std::string line = fmt::format("{:{}}{:<{}}{:{}}", "", kMargin, title, titleWidth, "", kMargin);
    if (page.coloured && moodOf(key, value) != Mood::kNone)
        line += coloured(moodOf(key, value), value);
    else if (page.terminal)
        appendWrapped(line, value, std::min(column, page.width * 2 / 3), page.width);
    else
        line += value;
    trimEnd(line);
    return line + "\n";
}

std::string textOf(const Fields& fields, const Page& page) {
    size_t width = 0;
    for (const Field& field : fields.fields) width = std::max(width, std::strlen(field.title));
    std::string result = fields.title.empty() ? "" : pageLine(fields.title, 0, page);
    for (const Field& field : fields.fields)
        result += fieldLine(field.key, field.title, field.value.text(), width, page);
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

// A table on a page that may be too narrow for it.
class TableText {
public:
    TableText(const Table& table, const Page& page) : table_(table), page_(page) {
        for (size_t i = 0; i < table.columns.size(); ++i) {
            size_t width = std::strlen(table.columns[i].title);
            for (const auto& row : table.rows) width = std::max(width, row[i].text().size());
            widths_.push_back(width);
        }
    }

    std::string text() {
        std::string result = table_.title.empty() ? "" : pageLine(table_.title, 0, page_);
        if (table_.rows.empty())
            return result +
                   pageLine(table_.whenEmpty.empty() ? "none" : table_.whenEmpty, kMargin, page_);
        const auto hasTitle = [](const Column& column) { return *column.title != '\0'; };
        if (std::ranges::none_of(table_.columns, hasTitle)) return plainTextOf(table_);
        std::string footer = table_.footer;
        if (!shorten() && page_.terminal) {
            result += folded();
        } else {
            result += rows();
            if (cut_)
                footer +=
                    std::string(footer.empty() ? "" : "; ") + "...: cut to fit, --json has it all";
        }
        if (!footer.empty()) result += pageLine(footer, kMargin, page_);
        return result;
    }

private:
    // Each column has a blank on both sides, the first one more, and the last needs none behind it.
    size_t totalWidth() const {
        size_t total = kMargin * widths_.size();
        for (const size_t width : widths_) total += width;
        return total;
    }

    size_t spare(const Flexible& flexible) const {
        const size_t least = std::max(kLeast, std::strlen(table_.columns[flexible.column].title));
        const size_t now = widths_[flexible.column];
        return now > least ? now - least : 0;
    }

    // Takes from the flexible columns, the widest first, until the table fits. Whether it does.
    bool shorten() {
        size_t total = totalWidth();
        for (; total > page_.width; --total) {
            const Flexible* widest = nullptr;
            for (const Flexible& one : table_.flexible)
                if (spare(one) != 0 &&
                    (widest == nullptr || widths_[one.column] > widths_[widest->column]))
                    widest = &one;
            if (widest == nullptr) return false;
            --widths_[widest->column];
        }
        return true;
    }

    std::string shortened(size_t column, const std::string& text) {
        if (text.size() <= widths_[column]) return text;
        cut_ = true;
        const auto flexible =
            std::find_if(table_.flexible.begin(), table_.flexible.end(),
                         [&](const Flexible& one) { return one.column == column; });
        return flexible->cut == Cut::kEnd ? withoutEnd(text, widths_[column])
                                          : withoutMiddle(text, widths_[column]);
    }

    template <typename TextOfColumn>
    std::string line(const TextOfColumn& textOfColumn) {
        std::string line = " ";
        for (size_t i = 0; i < widths_.size(); ++i) {
            const auto [text, mood] = textOfColumn(i);
            const std::string blanks(widths_[i] - std::min(widths_[i], text.size()), ' ');
            const std::string seen = page_.coloured ? coloured(mood, text) : text;
            const bool left = table_.columns[i].align == Align::kLeft;
            line += " " + (left ? seen + blanks : blanks + seen) + " ";
        }
        trimEnd(line);
        return line + "\n";
    }

    using Told = std::pair<std::string, Mood>;

    std::string rows() {
        std::vector<std::vector<std::string>> texts;
        for (const auto& row : table_.rows) {
            texts.emplace_back();
            for (size_t i = 0; i < row.size(); ++i)
                texts.back().push_back(shortened(i, row[i].text()));
        }
        // Between words less may be left than there was room for.
        for (const Flexible& one : table_.flexible) {
            size_t& width = widths_[one.column];
            width = std::strlen(table_.columns[one.column].title);
            for (const auto& row : texts) width = std::max(width, row[one.column].size());
        }
        std::string result =
            line([&](size_t i) { return Told(table_.columns[i].title, Mood::kNone); });
        result += line([&](size_t i) { return Told(std::string(widths_[i], '-'), Mood::kNone); });
        for (const auto& row : texts)
            result +=
                line([&](size_t i) { return Told(row[i], moodOf(table_.columns[i].key, row[i])); });
        return result;
    }

    // Each row as lines of a title and a value.
    std::string folded() {
        size_t width = 0;
        for (const Column& column : table_.columns)
            width = std::max(width, std::strlen(column.title));
        std::string result;
        for (const auto& row : table_.rows) {
            if (!result.empty()) result += "\n";
            for (size_t i = 0; i < row.size(); ++i)
                result += fieldLine(table_.columns[i].key, table_.columns[i].title, row[i].text(),
                                    width, page_);
        }
        return result;
    }

    const Table& table_;
    const Page& page_;
    std::vector<size_t> widths_;
    bool cut_ = false;
};

std::string textOf(const Table& table, const Page& page) {
    return TableText(table, page).text();
}

}  // namespace

std::string Report::text(const Page& page) const {
    std::string result;
    for (const auto& section : sections_) {
        const auto* const table = std::get_if<Table>(&section);
        if (table != nullptr && table->forPrograms) continue;
        if (!result.empty()) result += "\n";
        result += std::visit([&](const auto& part) { return textOf(part, page); }, section);
    }
    return result;
}

}  // namespace pcsim
