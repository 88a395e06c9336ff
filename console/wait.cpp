// 'expect' and 'wait': what a script demands of the system, now or within a time.
//
//     expect event "Port 1:2 link down"
//     wait show port 1:2 -- link is up within 3000
//     expect show counters 1:1 -- rxPackets is 1000 and rxErrors is 0
#include <algorithm>
#include <charconv>

#include "console/session.h"

namespace pcsim {

namespace {

template <typename... Arguments>
[[noreturn]] void failUnmet(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    failFormatted(ErrorCode::kUnmet, format, fmt::make_format_args(arguments...));
}

constexpr uint64_t kDefaultWithinMs = 5000;

constexpr uint64_t kLongestWithinMs = 86400000;

// Takes a trailing "within MS" off the words.
uint64_t takeWithin(Words& words) {
    if (!words.empty() && words.back() == "within")
        fail("'within' is not complete; expected a number of ms from 0 to {}", kLongestWithinMs);
    if (words.size() < 2 || words[words.size() - 2] != "within") return kDefaultWithinMs;
    const uint64_t ms = parseNumber("within", words.back(), 0, kLongestWithinMs);
    words.resize(words.size() - 2);
    return ms;
}

std::string joined(Words::const_iterator from, Words::const_iterator to) {
    return joinWords({from, to});
}

constexpr const char* kRelations[] = {"is", "not", "contains", "at-least", "at-most"};

void checkRelation(const std::string& relation) {
    if (std::ranges::find(kRelations, relation) == std::end(kRelations))
        fail("'{}' is no relation; expected is, not, contains, at-least or at-most", relation);
}

// Values are 64-bit numbers with a sign or without: both fit only in a sign and a magnitude.
struct Number {
    bool negative;
    uint64_t magnitude;

    explicit Number(const std::string& text) : negative(text.starts_with("-")) {
        const std::string_view value = std::string_view(text).substr(negative ? 1 : 0);
        magnitude = 0;
        const auto [end, error] =
            std::from_chars(value.data(), value.data() + value.size(), magnitude);
        if (error != std::errc() || end != value.data() + value.size() || value.empty())
            fail("'{}' is not a number; at-least and at-most compare numbers", text);
        negative = negative && magnitude != 0;
    }

    bool operator<=(const Number& other) const {
        if (negative != other.negative) return negative;
        return negative ? magnitude >= other.magnitude : magnitude <= other.magnitude;
    }
};

bool compare(const std::string& relation, const std::string& is, const std::string& wanted) {
    if (relation == "is") return is == wanted;
    if (relation == "not") return is != wanted;
    if (relation == "contains") return is.find(wanted) != std::string::npos;
    const Number a(is), b(wanted);
    return relation == "at-least" ? b <= a : a <= b;
}

// One "VALUE RELATION TEXT" of a condition, from 'from' up to an "and" or the end.
struct Condition {
    std::string path, relation, wanted;
};

std::vector<Condition> conditionsOf(Words::const_iterator from, Words::const_iterator to,
                                    const Words& all) {
    std::vector<Condition> conditions;
    for (;;) {
        const auto end = std::find(from, to, "and");
        if (end - from < 3)
            fail(
                "'{}' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE "
                "is|not|contains|at-least|at-most TEXT",
                joined(all.begin(), all.end()));
        checkRelation(*(from + 1));
        conditions.push_back({*from, *(from + 1), joined(from + 2, end)});
        if (end == to) return conditions;
        from = end + 1;
    }
}

bool conditionHolds(const Condition& condition, const Report& report, const std::string& show,
                    std::string& found) {
    const auto cell = report.at(condition.path);
    if (!cell) {
        found = fmt::format("there is no '{}' in '{}'; there are {}", condition.path, show,
                            report.names());
        return false;
    }
    // Either form counts: "is 15" and "is 0x0000000f" mean the same cell.
    if (compare(condition.relation, cell->plain(), condition.wanted)) return true;
    if (condition.relation == "is" && cell->text() == condition.wanted) return true;
    found = fmt::format("{} is {}", condition.path, cell->plain());
    return false;
}

}  // namespace

bool Session::eventHolds(const Words& words, std::string& found) {
    const bool unwanted = words[0] == "no";
    const std::string text = joined(words.begin() + (unwanted ? 2 : 1), words.end());
    if (text.empty()) fail("an empty text is in every event; expected a part of one");
    const Event* event = console_.events.find(text, eventCursor_);
    if (event == nullptr) {
        found = fmt::format("no event \"{}\"", text);
        return unwanted;
    }
    if (!unwanted) {
        eventCursor_ = event->position + 1;
        return true;
    }
    found = fmt::format("event \"{} {}\"", event->source, event->text);
    return false;
}

bool Session::holds(const Words& words, std::string& found) {
    if (words.size() >= 2 && words[0] == "event") return eventHolds(words, found);
    if (words.size() >= 3 && words[0] == "no" && words[1] == "event")
        return eventHolds(words, found);
    const auto dashes = std::find(words.begin(), words.end(), "--");
    const bool shows = dashes != words.begin() && dashes != words.end();
    const auto conditions = conditionsOf(shows ? dashes + 1 : words.end(), words.end(), words);
    const Report report = evaluate({words.begin(), dashes});
    const std::string show = joined(words.begin(), dashes);
    return std::ranges::all_of(conditions, [&](const Condition& condition) {
        return conditionHolds(condition, report, show, found);
    });
}

void addWaitVerbs(Verbs& verbs) {
    verbs.action(
        "expect <what:rest>", "fail unless an event was seen or a value is so", [](Call& call) {
            std::string found;
            const Words& words = call.all("what");
            call.session->noteDemand();
            if (!call.session->holds(words, found))
                failUnmet("expected {}, but {}", joined(words.begin(), words.end()), found);
        });
    verbs.action("wait <what:rest>", "the same, but give it time: ... within MS (5000 if not said)",
                 [](Call& call) {
                     std::string found;
                     Words words = call.all("what");
                     const uint64_t withinMs = takeWithin(words);
                     if (words.empty())
                         failUsage("'wait within' is not complete; expected what for");
                     Session& session = *call.session;
                     session.noteDemand();
                     if (!session.console().surroundings.waitUntil(
                             [&] { return session.holds(words, found); }, withinMs))
                         failUnmet("expected {} within {} ms, but {}",
                                   joined(words.begin(), words.end()), withinMs, found);
                 });
}

}  // namespace pcsim
