// Reading demands, and holding them against reports and events.
#include "console/demand.h"

#include <algorithm>

#include "console/error.h"
#include "console/session.h"
#include "console/text.h"

namespace pcsim {

namespace {

[[noreturn]] void failIncomplete(const Words& words) {
    const Words& relations = Relation::names();
    failUsage(
        "'{}' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE {} TEXT",
        joinWords(words), joinWords(relations, relations.size(), "|"));
}

}  // namespace

ReportValue::ReportValue(const Words& words, size_t& at) {
    const size_t begin = at;
    path_ = words[at++];
    while (at < words.size() && words[at] == "where") {
        if (path_ != "count" && !path_.ends_with(".count"))
            failUsage("'where' says which rows count; expected it behind 'count', got '{}'",
                      shown(path_));
        if (words.size() - at < 4)
            failUsage("'where' is not complete; expected where COLUMN RELATION VALUE");
        filters_.push_back({words[at + 1], Relation(words[at + 2], words[at + 3])});
        at += 4;
    }
    text_ = joinWords({words.begin() + static_cast<ptrdiff_t>(begin),
                       words.begin() + static_cast<ptrdiff_t>(at)});
}

std::optional<Cell> ReportValue::in(const Report& report, const std::string& show,
                                    std::string& problem) const {
    if (!filters_.empty())
        if (const Table* const table = report.tableCounted(path_))
            return counted(*table, show, problem);
    auto cell = filters_.empty() ? report.at(path_) : std::nullopt;
    if (!cell)
        problem =
            fmt::format("there is no '{}' in '{}'; there are {}", path_, show, report.names());
    return cell;
}

// How many rows fit.
std::optional<Cell> ReportValue::counted(const Table& table, const std::string& show,
                                         std::string& problem) const {
    std::vector<size_t> columns;
    for (const Filter& filter : filters_) {
        const auto column = std::ranges::find_if(
            table.columns, [&](const Column& one) { return one.key == filter.column; });
        if (column == table.columns.end()) {
            Words names;
            for (const Column& one : table.columns) names.emplace_back(one.key);
            problem = fmt::format("there is no column '{}' in '{}'; there are {}", filter.column,
                                  show, joinWords(names, names.size(), ", "));
            return std::nullopt;
        }
        columns.push_back(static_cast<size_t>(column - table.columns.begin()));
    }
    return Cell(std::ranges::count_if(table.rows, [&](const std::vector<Cell>& row) {
        for (size_t i = 0; i < filters_.size(); ++i)
            if (!filters_[i].relation.holds(row[columns[i]])) return false;
        return true;
    }));
}

std::optional<Question> Question::of(const Words& words) {
    const auto dashes = std::ranges::find(words, "--");
    if (dashes == words.begin() || dashes == words.end()) return std::nullopt;
    return Question{{words.begin(), dashes}, {dashes + 1, words.end()}};
}

Demand::Demand(const Words& words) : what_(EventText{}) {
    const bool unwanted = words.size() >= 3 && words[0] == "no" && words[1] == "event";
    if (unwanted || (words.size() >= 2 && words[0] == "event")) {
        what_ = eventOf(words);
        return;
    }
    const auto question = Question::of(words);
    if (!question || question->value.empty()) failIncomplete(words);
    what_ = valuesOf(*question, words);
}

Demand::EventText Demand::eventOf(Words words) {
    EventText event;
    event.unwanted = words[0] == "no";
    words.erase(words.begin(), words.begin() + (event.unwanted ? 2 : 1));
    // "TEXT count 3" or "TEXT count at-least 3"
    const size_t size = words.size();
    const bool related =
        size >= 4 && words[size - 3] == "count" && Relation::isOne(words[size - 2]);
    uint64_t number = 0;
    if (!event.unwanted && (related || (size >= 3 && words[size - 2] == "count")) &&
        readNumber(words.back(), EventLog::kCapacity, number)) {
        event.count.emplace(related ? words[size - 2] : "is", words.back());
        words.resize(size - (related ? 3 : 2));
    }
    event.text = joinWords(words);
    if (event.text.empty()) fail("an empty text is in every event; expected a part of one");
    return event;
}

Demand::Values Demand::valuesOf(const Question& question, const Words& all) {
    Values values{question.show, {{}}};
    const Words& words = question.value;
    for (size_t at = 0;;) {
        if (words.size() - at < 3) failIncomplete(all);
        ReportValue value(words, at);
        if (words.size() - at < 2) failIncomplete(all);
        const std::string& relation = words[at++];
        size_t end = at;
        while (end < words.size() && words[end] != "and" && words[end] != "or") ++end;
        std::string wanted = joinWords({words.begin() + static_cast<ptrdiff_t>(at),
                                        words.begin() + static_cast<ptrdiff_t>(end)});
        // What is no relation is told before what is missing behind it.
        Condition condition{std::move(value), Relation(relation, std::move(wanted))};
        if (end == at) failIncomplete(all);
        values.choices.back().push_back(std::move(condition));
        if (end == words.size()) return values;
        if (words[end] == "or") values.choices.emplace_back();
        at = end + 1;
    }
}

bool Demand::holds(Session& session, std::string& found) const {
    return std::visit([&](const auto& what) { return holds(what, session, found); }, what_);
}

bool Demand::holds(const EventText& event, Session& session, std::string& found) {
    const EventLog& log = session.console().events;
    uint64_t& cursor = session.eventCursor();
    const Event* const first = log.find(event.text, cursor);
    if (event.count) {
        uint64_t count = 0, end = cursor;
        for (const Event* one = first; one != nullptr; one = log.find(event.text, end)) {
            end = one->position + 1;
            ++count;
        }
        if (event.count->holds(Cell(count))) {
            cursor = end;
            return true;
        }
        found = fmt::format("there were {}", count);
        return false;
    }
    if (first == nullptr) {
        found = fmt::format("no event \"{}\"", event.text);
        return event.unwanted;
    }
    if (!event.unwanted) {
        cursor = first->position + 1;
        return true;
    }
    found = fmt::format("event \"{} {}\"", first->source, first->text);
    return false;
}

bool Demand::holds(const Values& values, Session& session, std::string& found) {
    const Report report = session.evaluate(values.show);
    const std::string show = joinWords(values.show);
    Words reasons;
    for (const auto& choice : values.choices) {
        const auto broken = std::ranges::find_if(choice, [&](const Condition& condition) {
            const auto cell = condition.value.in(report, show, found);
            if (cell && condition.relation.holds(*cell)) return false;
            if (cell) found = fmt::format("{} is {}", condition.value.text(), cell->plain());
            return true;
        });
        if (broken == choice.end()) return true;
        if (std::ranges::count(reasons, found) == 0) reasons.push_back(found);
    }
    found = joinWords(reasons, reasons.size(), " and ");
    return false;
}

}  // namespace pcsim
