// Verbs of the platform's tables: what their words hold, which were called, and faults on request.
#include "host/verbs/host_verbs.h"

#include <map>

#include "host/core/word_names.h"

namespace pcsim::host {

namespace {

// An operation of a table kind that the platform has filled.
struct Operation {
    TableInfo& table;
    size_t index;             // of its word among the operations
    const char* name;         // of the word
    std::string implemented;  // by which function; the word's name when that has none

    WordStats& stats() const { return table.words[index]; }
};

std::vector<Operation> operations(Platform& platform) {
    std::vector<Operation> result;
    for (TableInfo* table : platform.tables()) {
        const void* const* words = platform.wordsOf(*table);
        for (size_t i = 0; words != nullptr && i < table->words.size(); ++i) {
            const WordName* const word = wordName(table->record, i + table->firstWord);
            if (word == nullptr || !word->isOperation || words[i] == nullptr) continue;
            std::string implemented = Platform::operationName(words[i]);
            if (implemented == "?") implemented = word->name;
            result.push_back({*table, i, word->name, std::move(implemented)});
        }
    }
    return result;
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
        const WordName* const name = wordName(family.info->record, word);
        table.rows.push_back({word, name != nullptr ? Cell(name->name) : Cell(), operation,
                              null ? "null" : "filled"});
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
    struct Sum {
        uint64_t operations = 0, called = 0, calls = 0, failures = 0;
    };
    std::map<const TableInfo*, Sum> sums;
    for (const Operation& operation : operations(platform)) {
        const WordStats& stats = operation.stats();
        Sum& sum = sums[&operation.table];
        ++sum.operations;
        sum.called += stats.calls != 0 ? 1 : 0;
        sum.calls += stats.calls;
        sum.failures += stats.failures;
        if (never && stats.calls != 0) continue;
        words.rows.push_back({operation.implemented, operation.table.name,
                              operation.index + operation.table.firstWord, stats.calls,
                              stats.failures});
    }
    for (const TableInfo* table : platform.tables()) {
        const auto sum = sums.find(table);
        if (sum == sums.end()) continue;
        const auto& [count, called, calls, failures] = sum->second;
        summary.rows.push_back({table->name, count, called, count - called, calls, failures});
    }
    return Report(summary).add(words);
}

// By the function that implements it, by its word's name, or by both table and word:
// "pcSimPCFamFdbInit", "fdbInit", "family.fdbInit". Several when tables share it.
std::vector<Operation> operationsCalled(Platform& platform, const std::string& name) {
    std::vector<Operation> found;
    for (const Operation& operation : operations(platform))
        if (name == operation.implemented || name == operation.name ||
            name == std::string(operation.table.name) + "." + operation.name)
            found.push_back(operation);
    return found;
}

void setFault(Call& call) {
    const std::string& name = call.text("operation");
    const auto found = operationsCalled(call.context.platform, name);
    if (found.empty())
        fail("'{}' is in none of the tables; 'show coverage' lists the operations", name);
    FaultRule rule;
    rule.after = call.numberOr("after", 0);
    rule.count = call.numberOr("count", 1);
    if (call.has("returns"))
        rule.returns = parseSigned("returns", call.text("returns"), 0x7FFFFFFF);
    for (const Operation& operation : found) operation.stats().fault = rule;
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
    for (const Operation& operation : operations(call.context.platform)) {
        const auto& fault = operation.stats().fault;
        if (fault)
            table.rows.push_back(
                {operation.implemented, fault->after, fault->count, fault->returns, fault->seen});
    }
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
