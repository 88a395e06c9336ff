// Verbs of the system itself: chassis, clock, log, interfaces, module control, cables.
#include <algorithm>

#include "console/text.h"
#include "console/verbs.h"
#include "host/verbs/all_verbs.h"
#include "lab/lab.h"

namespace pcsim::host {

namespace {

Report showChassis(Call& call) {
    const HalChassisInfo& info = call.machine.chassisInfo;
    const bool systemMac = info.macSource == HAL_MAC_SOURCE_SYSTEM;
    return Fields{"chassis",
                  "Chassis",
                  {{"model", "Model", textOf(info.modelName)},
                   {"description", "Description", textOf(info.description)},
                   {"serialNumber", "Serial number", textOf(info.serialNumber)},
                   {"partNumber", "Part number", textOf(info.partNumber)},
                   {"mac", "MAC address", macText(info.macAddresses[0])},
                   {"macSource", "MAC source", systemMac ? "system" : "placeholder"},
                   {"ownSlot", "Own slot", info.ownSlot},
                   {"shape", "Shape", call.machine.options().chassis ? "chassis" : "stack"},
                   {"library", "Library", call.machine.platform.path()}}};
}

Report showCardTypes(Call& call) {
    Table table{"cardTypes",
                "Card types of the chassis",
                {{"name", "Name"}, {"type", "Type", Align::kRight}, {"role", "Role"}},
                {},
                "",
                ""};
    for (const HalCardTypeEntry& entry : call.machine.chassisCapability)
        table.rows.push_back({textOf(entry.name), entry.cardType,
                              entry.flags == HAL_CARD_TYPE_MANAGEMENT ? "management"
                              : entry.flags == HAL_CARD_TYPE_IO       ? "I/O"
                                                                      : "stackable"});
    return table;
}

Report showTimers(Call& call) {
    const uint64_t now = call.machine.scheduler.nowMs();
    Table table{"timers",
                fmt::format("Timers and tasks at {}.{:03} s{}", now / 1000, now % 1000,
                            call.machine.scheduler.stopped() ? " (clock stopped)" : ""),
                {{"name", "Name"},
                 {"dueInMs", "Due in ms", Align::kRight},
                 {"periodMs", "Period ms", Align::kRight},
                 {"runs", "Runs", Align::kRight}},
                {},
                "none",
                ""};
    for (const auto& entry : call.machine.scheduler.entries())
        table.rows.push_back({entry.name, entry.dueMs > now ? entry.dueMs - now : 0,
                              entry.periodMs != 0 ? Cell(entry.periodMs) : Cell(), entry.runs});
    return table;
}

Table eventTable(Call& call, uint64_t limit, const std::string& part) {
    Table table{"events",
                "Events",
                {{"number", "No.", Align::kRight},
                 {"timeMs", "Time s", Align::kRight},
                 {"source", "Source"},
                 {"text", "Event"}},
                {},
                "none",
                ""};
    for (const Event& event : call.machine.events.events()) {
        if ((event.source + " " + event.text).find(part) == std::string::npos) continue;
        table.rows.push_back({event.position,
                              Cell(Cell(event.timeMs), fmt::format("{}.{:03}", event.timeMs / 1000,
                                                                   event.timeMs % 1000)),
                              event.source, event.text});
    }
    if (table.rows.size() > limit) {
        table.footer = fmt::format("the last {} of {}", limit, table.rows.size());
        table.rows.erase(table.rows.begin(), table.rows.end() - static_cast<ptrdiff_t>(limit));
    }
    return table;
}

constexpr uint64_t kDefaultEvents = 20;

Report showLog(Call& call) {
    Report report(call.machine.logger.table());
    return report.add(eventTable(call, call.numberOr("limit", kDefaultEvents), ""));
}

Report showEvents(Call& call) {
    return eventTable(call, call.numberOr("limit", kDefaultEvents), call.textOr("text", ""));
}

Report showNics(Call& call) {
    Table table{"nics",
                "Network interfaces",
                {{"name", "Name"},
                 {"up", "Up"},
                 {"carrier", "Carrier"},
                 {"mac", "MAC address"},
                 {"mii", "MII"},
                 {"partner", "Partner sees link"}},
                {},
                "no interface is named ethN; --lab PORTS makes some",
                ""};
    auto* lab = call.machine.lab();
    for (const lab::Nic& nic : lab::nics()) {
        const bool cabled = lab != nullptr && nic.number <= lab->ports();
        table.rows.push_back({nic.name, nic.up, nic.carrier, nic.mac,
                              nic.realMii ? "driver" : "emulated",
                              cabled ? Cell(lab->partnerHasCarrier(nic.number)) : Cell()});
    }
    return table;
}

void setModule(Call& call, int32_t request) {
    uint32_t mask = call.u32("mask");
    Platform& platform = call.machine.platform;
    platform.call(platform.system, &HalSystemOps::moduleIoctl, 0u, request, &mask);
}

void setTrace(Call& call) {
    Logger& logger = call.machine.logger;
    auto* component = logger.find(call.text("component"));
    if (component == nullptr)
        fail("'{}' is not a component; expected {}", call.text("component"), logger.names());
    uint32_t mask = 0xFF;
    if (call.has("mask")) mask = call.u32("mask");
    if (mask > 0xFF) fail("mask {:#x} is too wide; expected 0 to 0xff, a bit per class", mask);
    Logger::set(*component, static_cast<uint16_t>(call.number("level")),
                static_cast<uint8_t>(mask));
}

void moveCable(Call& call) {
    lab::Lab& lab = call.machine.needLab();
    const auto n = static_cast<unsigned>(call.number("n"));
    if (n > lab.ports()) fail("cable {} does not exist; cables are 0 to {}", n, lab.ports());
    const std::string& what = call.text("what");
    if (const auto problem = what == "pull" ? lab.pull(n) : lab.plug(n)) fail("{}", *problem);
    call.machine.events.note("lab", "Cable {} {}", n, what == "pull" ? "pulled" : "plugged");
}

void sendFrames(Call& call) {
    lab::Lab& lab = call.machine.needLab();
    const auto n = static_cast<unsigned>(call.number("n"));
    if (n > lab.ports()) fail("cable {} does not exist; cables are 0 to {}", n, lab.ports());
    const auto count = static_cast<uint32_t>(call.number("count"));
    const bool out = call.given("out");
    if (const auto problem = out ? lab.sendFrom(n, count) : lab.send(n, count))
        fail("{}", *problem);
    call.machine.events.note("lab", "{} frames {} eth{}", count, out ? "out of" : "into", n);
}

}  // namespace

void addSystemVerbs(Verbs& verbs) {
    verbs.show("show chassis", "identity of the chassis", showChassis);
    verbs.show("show capability", "card types that the chassis takes", showCardTypes);
    verbs.show("show timers", "clock, timers and tasks", showTimers);
    verbs.show("show log [limit <limit:1-20000>]", "logger components and the latest events",
               showLog);
    verbs.show("show events [about <text>] [limit <limit:1-20000>]", "what happened", showEvents);
    verbs.show("show nics", "the network interfaces behind the ports", showNics);
    verbs.action("module cards <mask:u32>", "presence of cards, bit n is slot n",
                 [](Call& call) { setModule(call, HAL_MODULE_SET_CARDS); });
    verbs.action("module fans <mask:u32>", "presence of fans, bit n is fan n",
                 [](Call& call) { setModule(call, HAL_MODULE_SET_FANS); });
    verbs.action("module power <mask:u32>", "presence of power supplies",
                 [](Call& call) { setModule(call, HAL_MODULE_SET_POWER_SUPPLIES); });
    verbs.action("trace <component> <level:0-65535>",
                 "what a component of the platform logs: 2 errors, 6 all", setTrace);
    verbs.action("trace <component> <level:0-65535> <mask:u32>",
                 "the same, for the classes whose bits are set", setTrace);
    verbs.action("cable <n:0-100> <what:pull|plug>", "cable of ethN in the lab", moveCable);
    verbs.action("cable <n:0-100> send <count:1-1000000> [out]",
                 "send frames into ethN, or out of it", sendFrames);
}

}  // namespace pcsim::host
