// Verbs of access lists.
#include "host/verbs/host_verbs.h"

#include <algorithm>
#include <cstring>

#include "console/present.h"
#include "console/text.h"
#include "host/acl/acl_manager.h"
#include "host/l2/l2_manager.h"
#include "host/ports/port_manager.h"
#include "host/verbs/load_answer.h"

namespace pcsim::host {

namespace {

// A list with a bad line is not used at all: they are all told, and the command fails.
AclProgram programOf(Call& call) {
    LineLoad file(call.text("file"));
    AclCompiler compiler;
    file.run(call.context.loop, "lines",
             [&](uint64_t number, std::string_view line) { compiler.take(number, line); });
    const std::string problem = file.problem(compiler.program.rules.size());
    if (file.badLineCount() != 0 && call.answer) call.answer(badLineTable(file));
    if (!problem.empty()) fail("{}", problem);
    if (file.badLineCount() != 0)
        fail("{} has {}; nothing is loaded", file.path(),
             counted(file.badLineCount(), "bad line", "bad lines"));
    return std::move(compiler.program);
}

uint16_t vlanOf(Call& call) {
    return call.machine.l2().vlan(call.vlan()).record.vlanId;
}

AclPlace placeOf(Call& call) {
    return {vlanOf(call), instanceOf(call), static_cast<uint8_t>(call.number("direction"))};
}

Table listTable(Call& call, const RowRange& range, Pages& pages) {
    Table table{"lists",
                "Access lists",
                {{"name", "Name"},
                 {"rules", "Rules", Align::kRight},
                 {"counters", "Counters", Align::kRight},
                 {"bound", "Bound", Align::kRight}},
                {},
                "no access lists; 'acl load NAME FILE' makes one",
                ""};
    uint64_t matching = 0;
    for (const auto& [name, list] : call.machine.acl().lists()) {
        if (!range.has(matching++)) continue;
        table.rows.push_back({name, list->rules.size(), list->counterCount, list->boundCount});
    }
    pages.note(table, range, matching, "access lists");
    return table;
}

Table bindingTable(Call& call, const std::string& name, const RowRange& range, Pages& pages) {
    Table table{"bindings",
                "Bindings",
                {{"vlan", "VLAN", Align::kRight},
                 {"port", "Port"},
                 {"slot", "Slot", Align::kRight},
                 {"list", "List"},
                 {"state", "State"}},
                {},
                "nothing is bound",
                ""};
    uint64_t matching = 0;
    for (const auto& [place, list] : call.machine.acl().bindings()) {
        if (!name.empty() && list->name != name) continue;
        if (!range.has(matching++)) continue;
        table.rows.push_back({place.vlanId, portName(place.port), place.slot, list->name,
                              list->deleted ? "deleted" : "stored"});
    }
    pages.note(table, range, matching, "bindings");
    return table;
}

Report showLists(Call& call) {
    // Lists are few: all of them are shown unless the command says how many.
    Pages pages;
    Report report(listTable(call, rowRangeOf(call, kHighestLimit), pages));
    return report.add(bindingTable(call, "", rowRangeOf(call), pages)).add(pages.table());
}

Report showList(Call& call) {
    const AclList& list = call.machine.acl().list(call.text("name"));
    const RowRange range = rowRangeOf(call);
    Table rules{"rules",
                fmt::format("Access list {}", list.name),
                {{"name", "Rule"},
                 {"index", "No.", Align::kRight},
                 {"action", "Action"},
                 {"conditions", "Conditions"}},
                {},
                "no rules",
                ""};
    for (size_t i = 0; i < list.rules.size(); ++i)
        if (range.has(i))
            rules.rows.push_back({list.rules[i].name, i + 1, aclActionName(list.rules[i].action),
                                  list.rules[i].conditions()});
    rules.flexible = {{0, Cut::kMiddle}, {3, Cut::kEnd}};
    Pages pages;
    pages.note(rules, range, list.rules.size(), "rules");
    Report report(std::move(rules));
    return report.add(bindingTable(call, list.name, range, pages)).add(pages.table());
}

// 128 bits; a number while it fits one.
Cell valueCell(const AclManager::Counter& counter) {
    uint64_t words[2];
    std::memcpy(words, counter.value, sizeof words);
    if (words[1] == 0) return words[0];
    return Cell(fmt::format("0x{:x}{:016x}", words[1], words[0]));
}

Report showAclCounters(Call& call) {
    const std::string& name = call.text("name");
    const AclPlace place = placeOf(call);
    Table table{"counters",
                fmt::format("Counters of {} on {}", name, place.text()),
                {{"counter", "No.", Align::kRight}, {"value", "Value", Align::kRight}},
                {},
                "the list counts nothing",
                ""};
    bool answered = true;
    size_t number = 0;
    for (const AclManager::Counter& counter : call.machine.acl().counters(name, place)) {
        table.rows.push_back({++number, counter.answered ? valueCell(counter) : Cell()});
        answered = answered && counter.answered;
    }
    if (!answered) table.footer = "-: the platform answers counters of dynamic rules alone";
    return table;
}

void bindEverywhere(Call& call) {
    const uint16_t vlan = vlanOf(call);
    const std::string& name = call.text("name");
    AclManager& acl = call.machine.acl();
    const auto slot = static_cast<uint8_t>(call.number("direction"));
    const bool bind = call.text("action") == "bind";
    size_t count = 0;
    for (const auto& [instance, port] : call.machine.ports().ports()) {
        const AclPlace place{vlan, instance, slot};
        const auto bound = acl.bindings().find(place);
        const bool isBound = bound != acl.bindings().end() && bound->second->name == name;
        if (isBound == bind) continue;
        bind ? acl.bind(name, place, 0) : acl.unbind(name, place, 0);
        ++count;
    }
    call.print(
        fmt::format("{} port{} {}\n", count, count == 1 ? "" : "s", bind ? "bound" : "unbound"));
}

void changeBinding(Call& call) {
    AclManager& acl = call.machine.acl();
    const auto index = static_cast<uint32_t>(call.numberOr("index", 0));
    const AclPlace place = placeOf(call);
    if (call.text("action") == "bind")
        acl.bind(call.text("name"), place, index);
    else
        acl.unbind(call.text("name"), place, index);
}

void clearAclCounters(Call& call) {
    const uint16_t number =
        call.text("counter") == "all"
            ? 0
            : static_cast<uint16_t>(parseNumber("counter", call.text("counter"), 1, 0xFFFF));
    call.machine.acl().clearCounters(call.text("name"), placeOf(call), number);
}

// In a file a rule begins with this word.
void addAclRule(Call& call) {
    Words words{"rule"};
    const auto& rest = call.all("rule");
    words.insert(words.end(), rest.begin(), rest.end());
    call.machine.acl().addRule(call.text("name"), words);
}

void loadList(Call& call) {
    AclProgram program = programOf(call);
    const size_t rules = program.rules.size();
    call.machine.acl().load(call.text("name"), std::move(program));
    call.context.events.note("acl", "{} loaded: {}", call.text("name"),
                             counted(rules, "rule", "rules"));
}

}  // namespace

void addAclVerbs(HostVerbs& verbs) {
    verbs.show("show acl [limit <limit:1-1000000>] [from <from:0-1000000000>]",
               "access lists and where they are bound", showLists);
    verbs.show("show acl <name> [limit <limit:1-1000000>] [from <from:0-1000000000>]",
               "rules and bindings of one", showList);
    verbs.action("acl load <name> <file>", "compile a file and load it", loadList);
    verbs.action("acl refresh <name> <file>", "give a list new rules; its counters start anew",
                 [](Call& call) {
                     call.machine.acl().refresh(call.text("name"), programOf(call), call.print);
                 });
    verbs.action("acl rule <name> <rule:rest>", "one more rule of a list, for 'acl commit'",
                 addAclRule);
    verbs.action("acl commit <name> [empty]",
                 "load the rules told by 'acl rule', or refresh the list with them",
                 [](Call& call) {
                     call.machine.acl().commit(call.text("name"), call.given("empty"), call.print);
                 });
    verbs.action("acl diff <name> <file>", "what a difference pass would load", [](Call& call) {
        call.machine.acl().diff(call.text("name"), programOf(call), call.print);
    });
    verbs.action("acl delete <name> [force] [index <index:0-4294967295>]",
                 "delete a list; with 'force' also a bound one", [](Call& call) {
                     call.machine.acl().remove(call.text("name"), call.given("force"),
                                               static_cast<uint32_t>(call.numberOr("index", 0)));
                 });
    verbs.action(
        "acl <action:bind|unbind> <name> vlan <vlan> port <port> slot <direction:0|1> "
        "[index <index:0-4294967295>]",
        "bind a list to a VLAN on a port; 'dynamic' with an index is a dynamic rule",
        changeBinding);
    verbs.action("acl <action:bind|unbind> <name> vlan <vlan> port all slot <direction:0|1>",
                 "the same on every port", bindEverywhere);
    verbs.show("acl counters <name> vlan <vlan> port <port> slot <direction:0|1>",
               "read the counters of a binding", showAclCounters);
    verbs.action("acl counters <name> vlan <vlan> port <port> slot <direction:0|1> clear <counter>",
                 "zero one counter, or all", clearAclCounters);
}

}  // namespace pcsim::host
