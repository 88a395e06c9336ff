// Verbs of the system itself: chassis, clock, log, interfaces, module control, cables.
#include "host/verbs/host_verbs.h"

#include <algorithm>

#include "console/mac_address.h"
#include "console/text.h"
#include "lab/lab.h"

namespace pcsim::host {

namespace {

Report showChassis(Call& call) {
    const HalChassisInfo& info = call.context.chassisInfo;
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
                   {"shape", "Shape", call.context.options.chassis ? "chassis" : "stack"},
                   {"library", "Library", call.context.platform.path()}}};
}

Report showCardTypes(Call& call) {
    Table table{"cardTypes",
                "Card types of the chassis",
                {{"name", "Name"}, {"type", "Type", Align::kRight}, {"role", "Role"}},
                {},
                "",
                ""};
    for (const HalCardTypeEntry& entry : call.context.chassisCapability)
        table.rows.push_back({textOf(entry.name), entry.cardType,
                              entry.flags == HAL_CARD_TYPE_MANAGEMENT ? "management"
                              : entry.flags == HAL_CARD_TYPE_IO       ? "I/O"
                                                                      : "stackable"});
    return table;
}

Report showTimers(Call& call) {
    const uint64_t now = call.context.scheduler.nowMs();
    Table table{"timers",
                fmt::format("Timers and tasks at {}.{:03} s{}", now / 1000, now % 1000,
                            call.context.scheduler.stopped() ? " (clock stopped)" : ""),
                {{"name", "Name"},
                 {"dueInMs", "Due in ms", Align::kRight},
                 {"periodMs", "Period ms", Align::kRight},
                 {"runs", "Runs", Align::kRight}},
                {},
                "none",
                ""};
    for (const auto& entry : call.context.scheduler.entries())
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
    for (const Event& event : call.context.events.events()) {
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

Table componentTable(const Logger& logger) {
    Table table{"components",
                "Components",
                {{"component", "Component"},
                 {"number", "Number"},
                 {"level", "Level", Align::kRight},
                 {"mask", "Mask"},
                 {"class0", "Class 0", Align::kRight},
                 {"class1", "Class 1", Align::kRight},
                 {"class5", "Class 5", Align::kRight},
                 {"sent", "Sent", Align::kRight}},
                {},
                "",
                ""};
    for (const Logger::Component& component : logger.components())
        table.rows.push_back(
            {component.name, Cell(Cell(component.number), fmt::format("0x{:x}", component.number)),
             component.level.level,
             Cell(Cell(component.mask[0]), fmt::format("0x{:02x}", component.mask[0])),
             component.counters[0], component.counters[1], component.counters[5], component.sent});
    return table;
}

constexpr uint64_t kDefaultEvents = 20;

Report showLog(Call& call) {
    Report report(componentTable(call.context.logger));
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
                 {"partner", "Partner sees link"},
                 {"cable", "Cable"}},
                {},
                "no interface is named ethN; --lab PORTS makes some",
                ""};
    auto* lab = call.context.lab.get();
    for (const lab::Nic& nic : lab::nics()) {
        const bool cabled = lab != nullptr && nic.number <= lab->ports();
        table.rows.push_back(
            {nic.name, nic.up, nic.carrier, nic.mac, nic.realMii ? "driver" : "emulated",
             cabled ? Cell(lab->partnerHasCarrier(nic.number)) : Cell(),
             cabled ? Cell(lab->isPlugged(nic.number) ? "plugged" : "pulled") : Cell()});
    }
    return table;
}

void setModule(Call& call, int32_t request) {
    uint32_t mask = call.u32("mask");
    Platform& platform = call.context.platform;
    platform.call(platform.system, &HalSystemOps::moduleIoctl, 0u, request, &mask);
}

void setTrace(Call& call) {
    Logger& logger = call.context.logger;
    auto* component = logger.find(call.text("component"));
    if (component == nullptr)
        fail("'{}' is not a component; expected {}", call.text("component"), logger.names());
    uint32_t mask = 0xFF;
    if (call.has("mask")) mask = call.u32("mask");
    if (mask > 0xFF) fail("mask {:#x} is too wide; expected 0 to 0xff, a bit per class", mask);
    Logger::set(*component, static_cast<uint16_t>(call.number("level")),
                static_cast<uint8_t>(mask));
}

// The cable that the command names.
unsigned cableOf(Call& call) {
    const unsigned last = call.context.needLab().ports();
    const uint64_t n = call.number("n");
    if (n > last) fail("cable {} does not exist; cables are 0 to {}", n, last);
    return static_cast<unsigned>(n);
}

void moveCable(Call& call) {
    const unsigned n = cableOf(call);
    lab::Lab& lab = call.context.needLab();
    const bool pull = call.text("what") == "pull";
    if (const auto problem = pull ? lab.pull(n) : lab.plug(n)) fail("{}", *problem);
    call.context.events.note("lab", "Cable {} {}", n, pull ? "pulled" : "plugged");
}

void sendFrames(Call& call) {
    const unsigned n = cableOf(call);
    lab::Lab& lab = call.context.needLab();
    const auto count = static_cast<uint32_t>(call.number("count"));
    const bool out = call.given("out");
    if (const auto problem = out ? lab.sendFrom(n, count) : lab.send(n, count))
        fail("{}", *problem);
    call.context.events.note("lab", "{} frames {} eth{}", count, out ? "out of" : "into", n);
}

void warp(Call& call) {
    if (!call.context.scheduler.stopped()) fail("the clock is running; 'time stop' comes first");
    call.context.scheduler.warp(0);
    call.context.loop.sleep(call.number("ms"));  // a long way can be interrupted
}

}  // namespace

void addClockVerbs(HostVerbs& verbs) {
    verbs.action("time stop", "stop the clock; it moves by 'time warp' alone",
                 [](Call& call) { call.context.scheduler.stop(); });
    verbs.action("time run", "let the clock follow the PC's again",
                 [](Call& call) { call.context.scheduler.resume(); });
    verbs.action("time warp <ms:0-86400000>", "move the stopped clock forward", warp);
    verbs.action("sleep <ms:0-86400000>", "let simulated time pass",
                 [](Call& call) { call.context.loop.sleep(call.number("ms")); });
}

void addSystemVerbs(HostVerbs& verbs) {
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
    verbs.action("trace <component> <level:0-8>",
                 "what a component of the platform logs: 2 errors, 6 all", setTrace);
    verbs.action("trace <component> <level:0-8> <mask:u32>",
                 "the same, for the classes whose bits are set", setTrace);
    verbs.action("cable <n:0-100> <what:pull|plug>", "cable of ethN in the lab", moveCable);
    verbs.action("cable <n:0-100> send <count:1-1000000> [out]",
                 "send frames into ethN, or out of it", sendFrames);
}

}  // namespace pcsim::host
