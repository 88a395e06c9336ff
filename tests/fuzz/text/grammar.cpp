// The grammar: lines held against forms, completion, and values.
//
// The first three bytes choose how wide a page is, and with its lowest bit whether the line is
// taken as a command or as values; where it is cut for completion; and what is taken of what is
// offered there. The rest is the line.
#include <algorithm>
#include <set>

#include "console/lists.h"
#include "console/mac_address.h"
#include "console/piping.h"
#include "console/regex.h"
#include "console/relation.h"
#include "console/session.h"
#include "tests/fuzz/text/still_time.h"
#include "tests/fuzz/text/support.h"
#include "tests/fuzz/text/toy_verbs.h"

namespace pcsim::fuzz {

namespace {

struct Stage {
    StillTime time{~0u};
    EventLog events{[] { return uint64_t{0}; }};
    Console console{time, events};

    Stage() {
        addToyVerbs(console);
        addForms(console);
    }
};

// The result, or nothing after an error, which is one as it has to be.
template <typename Work>
auto resultOf(Work work) -> std::optional<decltype(work())> {
    try {
        return work();
    } catch (const CommandError& error) {
        demandError(error.what());
        return std::nullopt;
    }
}

// --- words and commands

void demandWords(const Words& words) {
    const Words again = splitWords(lineOf(words));
    demand(again == words, "words make a line that splits into them", lineOf(words));
}

// A command that was understood says the same when it is written out.
void demandFound(const Verbs& verbs, const Words& words, const Verbs::Found& found) {
    demand(found.words.size() == words.size(), "a command has all its words", lineOf(words));
    const auto again = resultOf([&] { return verbs.find(found.words); });
    demand(again.has_value(), "a command that is written out is one", lineOf(found.words));
    demand(
        again->verb == found.verb && again->words == found.words && again->values == found.values,
        "a command that is written out is the same", lineOf(words));
}

// Of each value of a list that it is one.
void demandSingles(Console& console, const Verbs::Found& found) {
    const auto all = [&](const Element& element) {
        const auto known = console.candidates.find("<" + element.name + ">");
        return known == console.candidates.end() ? Words{} : known->second();
    };
    const auto singles =
        resultOf([&] { return singlesOf(found.verb->pattern, found.values, all); });
    if (!singles) return;
    demand(!singles->empty() && singles->size() <= 100000, "a line stands for some commands");
    for (const Single& single : *singles) {
        if (&single - singles->data() > 20) break;
        for (const Element& element : found.verb->pattern.elements) {
            if (!element.list) continue;
            const std::string& value = single.values.at(element.name).front();
            demand(!valueProblem(element.type, element.name, value), "a list is of values", value);
        }
    }
}

// --- completion

// What is offered may be typed: it leads further, or is the end of a command.
void demandOffers(Console& console, const Words& words, size_t choice) {
    const Verbs::Following following = console.verbs.following(words);
    if (following.complete != nullptr && !following.unclear)
        demand(resultOf([&] { return console.verbs.find(words); }).has_value(),
               "what is complete is a command", lineOf(words));
    bool files = false;
    const Words candidates = candidatesBehind(console, words, files);
    if (candidates.empty()) return;
    Words longer = words;
    longer.push_back(candidates[choice % candidates.size()]);
    // What stands behind a mark is no command's.
    if (std::ranges::any_of(
            longer, [](const std::string& word) { return word == "|" || word.starts_with('>'); }))
        return;
    const Verbs::Following next = console.verbs.following(longer);
    demand(!next.next.empty() || next.complete != nullptr, "what is offered is accepted",
           lineOf(longer));
}

// --- values

void demandPrefix(const std::string& word) {
    const auto prefix = resultOf([&] { return parsePrefix(word); });
    if (!prefix) return;
    const std::string text = prefix->text();
    const auto again = resultOf([&] { return parsePrefix(text); });
    demand(again && again->text() == text && again->mask == prefix->mask &&
               again->length == prefix->length && again->address.bytes == prefix->address.bytes,
           "a prefix is what its text says", word);
    const IpPrefix masked = prefix->masked();
    demand(masked.masked().address.bytes == masked.address.bytes, "a mask is applied once", word);
    demand(resultOf([&] { return checkMasked(masked), true; }).has_value(),
           "what is masked has no bits outside", word);
}

void demandAddress(const std::string& word) {
    const auto address = resultOf([&] { return parseAddress(word); });
    if (!address) return;
    const auto again = resultOf([&] { return parseAddress(address->text()); });
    demand(again && again->v6 == address->v6 && again->bytes == address->bytes,
           "an address is what its text says", word);
}

void demandNumbers(const std::string& word) {
    uint64_t value = 0;
    if (readNumber(word, ~uint64_t{0}, value)) {
        const size_t digits = std::min(word.find_first_not_of('0'), word.size() - 1);
        demand(std::to_string(value) == word.substr(digits), "a number is what it says", word);
    }
    const auto number = resultOf([&] { return parseU32("number", word); });
    if (number && readNumber(word, ~0u, value)) demand(*number == value, "both are the same", word);
    const auto with = resultOf([&] { return parseSigned("number", word, 1000); });
    if (with) demand(*with >= -1000 && *with <= 1000, "a number is in its range", word);
    SlotPort port{};
    if (readSlotPort(word, port))
        demand(port.slot <= 0xFFFF && port.port <= 0xFFFF, "a port is in its range", word);
}

void demandMac(const std::string& word) {
    MacAddress mac{}, again{};
    if (!readMac(word, mac)) return;
    demand(readMac(macText(mac.data()), again) && again == mac, "a MAC is what its text says",
           word);
}

void demandValues(const std::string& word) {
    demandPrefix(word);
    demandAddress(word);
    demandNumbers(word);
    demandMac(word);
    for (const char* type : {"port", "vlan", "u32", "10-4094", "on|off|other"}) {
        const auto problem = valueProblem(type, "value", word);
        if (problem) demandError(*problem);
        const auto list = listProblem(type, "value", word);
        if (list) demandError(*list);
        demand(problem || !list || word.find_first_of(",-") != word.npos,
               "a value is a list of one", word);
    }
}

void demandRelations(const Words& words) {
    if (words.size() < 3) return;
    const auto relation = resultOf([&] { return Relation(words[1], words[2]); });
    if (!relation) return;
    for (const Cell& cell : {Cell(words[0]), Cell(7), Cell(-1.5), Cell(true), Cell()}) {
        const auto holds = resultOf([&] { return relation->holds(cell); });
        if (!holds) continue;
        for (const auto& [one, other] :
             {std::pair{"is", "not"}, std::pair{"contains", "not-contains"}})
            if (words[1] == one)
                demand(*holds != Relation(other, words[2]).holds(cell), "one of both holds");
    }
}

// A pattern of nothing but characters is found where the text is.
void demandPatterns(const Words& words) {
    if (words.size() < 2) return;
    const auto regex = resultOf([&] { return Regex(words[0]); });
    if (!regex) return;
    const bool found = regex->isIn(words[1]);
    const bool plain = words[0].find_first_of("\\^$.[]|()*+?{}") == std::string::npos;
    if (plain)
        demand(found == (words[1].find(words[0]) != std::string::npos), "a text is found",
               lineOf(words));
    const auto either = resultOf([&] { return Regex("(?:" + words[0] + ")|x"); });
    if (either && found) demand(either->isIn(words[1]), "one of two is found", lineOf(words));
}

// --- lines

void demandQuestion(Console& console, const std::string& line, size_t width) {
    const auto text = resultOf([&] { return questionOf(console, line, width); });
    if (text && *text) demand((*text)->empty() || (*text)->back() == '\n', "help is lines", **text);
}

void demandCommand(Console& console, const Words& words) {
    if (words.empty()) return;
    const auto found = resultOf([&] { return console.verbs.find(words); });
    const Verbs::Following following = console.verbs.following(words);
    if (!found) return;
    demand(following.complete != nullptr, "a command is complete", lineOf(words));
    demandFound(console.verbs, words, *found);
    demandSingles(console, *found);
}

// What the command is, and what may follow a part of it.
void runCommand(Console& console, const Words& words, size_t cut, size_t choice) {
    demandCommand(console, words);
    Words begun = words;
    begun.resize(std::min(begun.size(), cut));
    demandOffers(console, begun, choice);
}

void runValues(const Words& words) {
    demandRelations(words);
    demandPatterns(words);
    for (const std::string& word : words) demandValues(word);
}

void run(std::span<const uint8_t> input) {
    static Stage stage;
    Bytes bytes(input);
    const size_t width = bytes.byte();
    const size_t cut = bytes.byte();
    const size_t choice = bytes.byte();
    const std::string line(bytes.rest());
    const bool command = width % 2 == 0;
    if (command) demandQuestion(stage.console, line, width);
    std::vector<bool> literal;
    const std::string value = "a b";
    auto words = resultOf([&] {
        return splitWords(
            line, [&](std::string_view) -> const std::string& { return value; }, literal);
    });
    if (!words) return;
    demand(literal.size() == words->size(), "of each word it is known what it means", line);
    if (!resultOf([&] { return takePiping(*words, literal); })) return;
    demandWords(*words);
    if (command)
        runCommand(stage.console, *words, cut, choice);
    else
        runValues(*words);
}

}  // namespace

}  // namespace pcsim::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pcsim::fuzz::run({data, size});
    return 0;
}
