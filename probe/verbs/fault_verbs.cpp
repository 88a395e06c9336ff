// Verbs of the fault rules.
#include "probe/interface/names.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

namespace {

constexpr const char* kFaultPattern =
    "fault <operation> [where <field> (within) <value>]* [after <after:0-1000000000>] "
    "[count <count:1-1000000000>] [chance <percent:1-100>] [seed <seed:u32>] "
    "[delay <ms:1-86400000>] [returns <returns>] [set <output> <to>]* "
    "[number <number:1-1000000000>] [seen <seen:1-1000000000>] [hits <hits:1-1000000000>] [off]";

Order orderOf(pcsim::Call& call) {
    Order order;
    order.operation = call.text("operation");
    const auto& fields = call.all("field");
    for (size_t i = 0; i < fields.size(); ++i)
        order.where.push_back({fields[i], call.all("value")[i], !call.all("within")[i].empty()});
    order.after = call.numberOr("after", 0);
    if (call.has("count")) order.count = call.number("count");
    if (call.has("percent")) order.chancePercent = call.u32("percent");
    if (call.has("seed")) {
        if (!order.chancePercent) fail("a seed is that of a chance; expected chance PERCENT, too");
        order.seed = call.u32("seed");
    }
    order.delayMs = call.numberOr("ms", 0);
    if (call.has("returns")) order.returns = call.text("returns");
    const auto& outputs = call.all("output");
    for (size_t i = 0; i < outputs.size(); ++i)
        order.set.push_back({outputs[i], call.all("to")[i]});
    return order;
}

Resumed resumedOf(pcsim::Call& call) {
    Resumed resumed;
    if (call.has("number")) resumed.number = call.u32("number");
    resumed.seen = call.numberOr("seen", 0);
    resumed.hit = call.numberOr("hits", 0);
    resumed.off = call.given("off");
    return resumed;
}

// What the rule's row has no column for.
std::string restOf(Order order) {
    order.operation = "*";
    order.returns.reset();
    const std::string text = order.text();
    return text.substr(std::min<size_t>(2, text.size()));
}

// A number where it is one, to compare with.
Cell returnsOf(const Order& order) {
    if (!order.returns) return order.answers() ? Cell("failure") : Cell();
    const std::string& text = *order.returns;
    uint64_t number = 0;
    const bool negative = text.starts_with("-");
    if (!readNumber(std::string_view(text).substr(negative ? 1 : 0), UINT32_MAX, number))
        return text;
    return negative ? -static_cast<int64_t>(number) : static_cast<int64_t>(number);
}

Report showFaults(const Rules& rules) {
    Table table{"faults",
                "Faults",
                {{"rule", "Rule", Align::kRight},
                 {"operation", "Operation"},
                 {"returns", "Returns", Align::kRight},
                 {"seen", "Seen", Align::kRight},
                 {"hits", "Hits", Align::kRight},
                 {"state", "State"},
                 {"when", "When and what"}},
                {},
                "none",
                ""};
    for (const RuleState& state : rules.states()) {
        const Order& order = state.order;
        table.rows.push_back({state.number, order.operation, returnsOf(order), state.seen,
                              state.hit,
                              !state.on        ? "off"
                              : state.usedUp() ? "used up"
                                               : "on",
                              restOf(order)});
    }
    return table;
}

}  // namespace

void addFaultVerbs(Verbs& verbs, Rules& rules) {
    verbs.show("show faults", "the rules that 'fault' has set, with the calls they met",
               [&rules](pcsim::Call&) { return showFaults(rules); });
    verbs.action(kFaultPattern,
                 "let an operation fail, answer a number, come late, or hand out other values",
                 [&rules](pcsim::Call& call) { rules.add(orderOf(call), resumedOf(call)); });
    verbs.action("fault-off <rule:u32>", "let a rule rest",
                 [&rules](pcsim::Call& call) { rules.turn(call.u32("rule"), false); });
    verbs.action("fault-on <rule:u32>", "let it apply again",
                 [&rules](pcsim::Call& call) { rules.turn(call.u32("rule"), true); });
    verbs.action("fault-remove <rule:u32>", "remove a rule",
                 [&rules](pcsim::Call& call) { rules.remove(call.u32("rule")); });
    verbs.action("fault-clear", "no more faults", [&rules](pcsim::Call&) { rules.clear(); });
}

}  // namespace pcsim::probe
