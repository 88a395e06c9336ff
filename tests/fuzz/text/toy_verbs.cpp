// The toy's verbs.
#include "tests/fuzz/text/toy_verbs.h"

#include "console/error.h"

namespace pcsim::fuzz {

namespace {

constexpr const char* kPorts[] = {"1:1", "1:2", "2:1"};

Table ports() {
    Table table{
        "ports", "Ports", {{"port", "Port"}, {"link", "Link"}, {"speed", "Speed", Align::kRight}},
        {},      "none",  ""};
    unsigned speed = 1;
    for (const char* port : kPorts) table.rows.push_back({port, speed % 2 == 0, speed *= 10});
    return table;
}

Report port(Call& call) {
    const std::string& name = call.text("port");
    for (const char* port : kPorts)
        if (name == port)
            return Fields{"port", "Port " + name, {{"port", "Port", name}, {"link", "Link", "up"}}};
    fail("port {} does not exist; ports are 1:1 to 2:1", name);
}

const std::pair<const char*, const char*> kForms[] = {
    {"port <port*> enable", "a list"},
    {"port <port*> speed <speed:10|100|1000> [duplex <d:full|half>]", "a choice"},
    {"po~rts", "letters that are enough"},
    {"pool <name> add <low:u32> [to <high:u32>] [vr <vr:0-7>]", "groups"},
    {"pool <name> add-all", "a word that begins like another"},
    {"vlan <vlan*> add <port*> [untagged]", "two lists"},
    {"vlan <vlan*> delete", "one of them"},
    {"route add <prefix> [via <address> vlan <vlan>]* [vr <vr:0-7>]", "a group that repeats"},
    {"route del <prefix> [vr <vr:0-7>]", "without it"},
    {"neighbor <ipv4> <mac> [on <port> (static) vlan <vlan>]", "a word that may be left out"},
    {"end~", "written out"},
    {"endless", "begins like one that is written out"},
    {"write <file> <text:rest>", "all the rest"},
    {"slot <slot> <what:on|off|reset|remove>", "a longer choice"},
    {"slot <slot*> show", "the same words with a list"},
};

}  // namespace

void addToyVerbs(Console& console) {
    Verbs& verbs = console.verbs;
    verbs.show("show one", "two fields", [](Call&) {
        return Fields{"one", "One", {{"a", "A", 1}, {"b", "B", "x y"}, {"c", "C", Cell()}}};
    });
    verbs.show("show ports", "a table", [](Call&) { return ports(); });
    verbs.show("show port <port*>", "fields of each", port);
    verbs.action("say <text:rest>", "print it",
                 [](Call& call) { call.print(call.joined("text") + "\n"); });
    verbs.action("note <text:rest>", "an event", [&events = console.events](Call& call) {
        events.add("toy", call.joined("text"));
    });
    verbs.action("fail <text:rest>", "an error",
                 [](Call& call) { fail("{}; expected nothing", call.joined("text")); });
    verbs.action(
        "port <port*> turn <state:on|off> [speed <speed:10|100>] [again]*", "all forms",
        [](Call& call) { call.print(call.text("port") + call.textOr("speed", "") + "\n"); });
    const auto names = [] {
        return std::vector<std::string>(std::begin(kPorts), std::end(kPorts));
    };
    console.candidates["<port>"] = names;
}

void addForms(Console& console) {
    for (const auto& [pattern, help] : kForms) console.verbs.action(pattern, help, [](Call&) {});
    console.candidates["<vlan>"] = [] { return std::vector<std::string>{"1", "20", "4094"}; };
}

}  // namespace pcsim::fuzz
