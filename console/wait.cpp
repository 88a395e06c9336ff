// 'expect' and 'wait': what a script demands of the system, now or within a time.
//
//     expect event "Port 1:2 link down"
//     wait show port 1:2 -- link is up within 3000
//     expect show counters 1:1 -- rxPackets is 1000
#include <algorithm>
#include <charconv>

#include "console/session.h"

namespace pcsim::host {

namespace {

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

}  // namespace

bool Session::holds(const Words& words, std::string& found) {
    EventLog& events = machine_.events;
    if (words[0] == "event" && words.size() >= 2) {
        const Event* event = events.find(joined(words.begin() + 1, words.end()), events.cursor);
        if (event == nullptr) {
            found = fmt::format("no event \"{}\"", joined(words.begin() + 1, words.end()));
            return false;
        }
        events.cursor = event->position + 1;
        return true;
    }
    if (words[0] == "no" && words.size() >= 3 && words[1] == "event") {
        const Event* event = events.find(joined(words.begin() + 2, words.end()), events.cursor);
        if (event == nullptr) return true;
        found = fmt::format("event \"{} {}\"", event->source, event->text);
        return false;
    }
    const auto dashes = std::find(words.begin(), words.end(), "--");
    if (dashes == words.begin() || words.end() - dashes < 4)
        fail(
            "'{}' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE "
            "is|not|contains|at-least|at-most TEXT",
            joined(words.begin(), words.end()));
    checkRelation(*(dashes + 2));
    const Report report = evaluate({words.begin(), dashes});
    const std::string& path = *(dashes + 1);
    const auto cell = report.at(path);
    if (!cell) {
        found = fmt::format("there is no '{}' in '{}'", path, joined(words.begin(), dashes));
        return false;
    }
    // Either form counts: "is 15" and "is 0x0000000f" mean the same cell.
    const std::string wanted = joined(dashes + 3, words.end());
    if (compare(*(dashes + 2), cell->plain(), wanted)) return true;
    if (*(dashes + 2) == "is" && cell->text() == wanted) return true;
    found = fmt::format("{} is {}", path, cell->plain());
    return false;
}

void Session::addWaitVerbs() {
    verbs_.action("expect <what:rest>", "fail unless an event was seen or a value is so",
                  [this](Call& call) {
                      std::string found;
                      const Words& words = call.all("what");
                      if (!holds(words, found))
                          fail("expected {}, but {}", joined(words.begin(), words.end()), found);
                  });
    verbs_.action("wait <what:rest>",
                  "the same, but give it time: ... within MS (5000 if not said)",
                  [this](Call& call) {
                      std::string found;
                      Words words = call.all("what");
                      const uint64_t withinMs = takeWithin(words);
                      if (words.empty()) fail("'wait within' is not complete; expected what for");
                      if (!loop_.waitUntil([&] { return holds(words, found); }, withinMs))
                          fail("expected {} within {} ms, but {}",
                               joined(words.begin(), words.end()), withinMs, found);
                  });
}

}  // namespace pcsim::host
