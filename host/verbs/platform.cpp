// Verbs of the platform's tables: what their words hold, which were called, and faults on request.
#include "host/verbs/host_verbs.h"

#include <cstring>

namespace pcsim::host {

namespace {

// The name of a word in its table: the operation's, without what tells the variants apart.
std::string slotName(std::string operation) {
    if (operation == "-") return operation;
    for (const char* prefix : {"pcSim", "PCFam", "Stack", "Chassis", "Hal"})
        if (operation.starts_with(prefix) && operation.size() > std::strlen(prefix))
            operation.erase(0, std::strlen(prefix));
    operation[0] = static_cast<char>(std::tolower(operation[0]));
    // Initials are one word: ipv4..., sflow...
    for (const auto& [written, name] : {std::pair{"iPv", "ipv"}, {"sFLOW", "sflow"}})
        if (operation.starts_with(written)) operation.replace(0, std::strlen(written), name);
    return operation;
}

// Calls 'each' for every word of a table kind that the platform has filled.
void forEachWord(Platform& platform, const TableInfo& info,
                 const std::function<void(size_t word, const std::string& operation,
                                          const WordStats& stats)>& each) {
    const void* const* words = platform.wordsOf(info);
    if (words == nullptr) return;
    for (size_t i = 0; i < info.words.size(); ++i) {
        const std::string operation = Platform::operationName(words[i]);
        // Words that hold constants have no name.
        if (operation != "-" && operation != "?") each(i, operation, info.words[i]);
    }
}

Report showFamily(Call& call) {
    Table table{"family",
                "Family operations",
                {{"word", "Word", Align::kRight},
                 {"name", "Name"},
                 {"operation", "Operation"},
                 {"state", "State"}},
                {},
                "",
                ""};
    const auto& family = call.context.platform.family;
    size_t filled = 0;
    for (size_t word = 0; word < family.wordCount(); ++word) {
        const std::string operation = Platform::operationName(family.words()[word]);
        const bool null = family.words()[word] == nullptr;
        filled += null ? 0 : 1;
        if (null && call.given("filled")) continue;
        table.rows.push_back({word, slotName(operation), operation, null ? "null" : "filled"});
    }
    table.footer = fmt::format("{} of {} words are filled", filled, family.wordCount());
    return table;
}

Report showCoverage(Call& call) {
    Platform& platform = call.context.platform;
    const bool never = call.given("never");
    Table summary{"tables",
                  "Tables",
                  {{"table", "Table"},
                   {"operations", "Operations", Align::kRight},
                   {"called", "Called", Align::kRight},
                   {"never", "Never", Align::kRight},
                   {"calls", "Calls", Align::kRight},
                   {"failures", "Failures", Align::kRight}},
                  {},
                  "",
                  ""};
    Table words{"operations",
                never ? "Operations never called" : "Operations",
                {{"operation", "Operation"},
                 {"table", "Table"},
                 {"word", "Word", Align::kRight},
                 {"calls", "Calls", Align::kRight},
                 {"failures", "Failures", Align::kRight}},
                {},
                "none",
                ""};
    for (const TableInfo* info : platform.tables()) {
        uint64_t operations = 0, called = 0, calls = 0, failures = 0;
        forEachWord(platform, *info,
                    [&](size_t word, const std::string& operation, const WordStats& stats) {
                        ++operations;
                        called += stats.calls != 0 ? 1 : 0;
                        calls += stats.calls;
                        failures += stats.failures;
                        if (never && stats.calls != 0) return;
                        words.rows.push_back({operation, info->name, word + info->firstWord,
                                              stats.calls, stats.failures});
                    });
        if (operations != 0)
            summary.rows.push_back(
                {info->name, operations, called, operations - called, calls, failures});
    }
    return Report(summary).add(words);
}

// The statistics of the words that hold an operation; several when tables share it.
std::vector<WordStats*> wordsOfOperation(Platform& platform, const std::string& name) {
    std::vector<WordStats*> found;
    for (TableInfo* info : platform.tables())
        forEachWord(platform, *info,
                    [&](size_t word, const std::string& operation, const WordStats&) {
                        if (operation == name) found.push_back(&info->words[word]);
                    });
    return found;
}

void setFault(Call& call) {
    const std::string& name = call.text("operation");
    const auto words = wordsOfOperation(call.context.platform, name);
    if (words.empty())
        fail("'{}' is in none of the tables; 'show coverage' lists the operations", name);
    FaultRule rule;
    rule.after = call.numberOr("after", 0);
    rule.count = call.numberOr("count", 1);
    if (call.has("returns"))
        rule.returns = parseSigned("returns", call.text("returns"), 0x7FFFFFFF);
    for (WordStats* word : words) word->fault = rule;
}

void clearFaults(Call& call) {
    for (TableInfo* info : call.context.platform.tables())
        for (WordStats& word : info->words) word.fault.reset();
}

Report showFaults(Call& call) {
    Table table{"faults",
                "Faults",
                {{"operation", "Operation"},
                 {"after", "After", Align::kRight},
                 {"count", "Count", Align::kRight},
                 {"returns", "Returns", Align::kRight},
                 {"seen", "Calls seen", Align::kRight}},
                {},
                "none",
                ""};
    Platform& platform = call.context.platform;
    for (const TableInfo* info : platform.tables())
        forEachWord(platform, *info,
                    [&](size_t, const std::string& operation, const WordStats& stats) {
                        if (stats.fault)
                            table.rows.push_back({operation, stats.fault->after, stats.fault->count,
                                                  stats.fault->returns, stats.fault->seen});
                    });
    return table;
}

}  // namespace

void addPlatformVerbs(HostVerbs& verbs) {
    verbs.show("show family [filled]", "each word of the family table", showFamily);
    verbs.show("show coverage [never]", "which operations were called, how often", showCoverage);
    verbs.show("show faults", "what 'fault' has set", showFaults);
    verbs.action(
        "fault <operation> [after <after:0-1000000000>] [count <count:1-1000000000>] "
        "[returns <returns>]",
        "let an operation answer -1, or another number (negative ones, too), in the platform's "
        "stead",
        setFault);
    verbs.action("fault-clear", "no more faults", clearFaults);
    verbs.action("calls <state:on|off>", "print every call into the platform, or not",
                 [](Call& call) {
                     auto& listener = call.context.platform.onCall;
                     listener = nullptr;
                     if (call.text("state") == "on")
                         listener = [print = call.print](const std::string& text) {
                             print("call  " + text + "\n");
                         };
                 });
}

}  // namespace pcsim::host
