// Verbs of ports and counters.
#include "host/verbs/host_verbs.h"

#include "host/cards/card_manager.h"
#include "host/ports/counters.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

constexpr uint32_t kMbps[] = {0, 10, 100, 1000, 10000};

Cell speedCell(const Link& link) {
    if (!link.up || link.speed == 0 || link.speed > 4) return {};
    return Cell(Cell(kMbps[link.speed]), PortManager::kSpeeds[link.speed]);
}

Cell duplexCell(const Link& link) {
    return link.up ? Cell(link.duplex != 0 ? "full" : "half") : Cell();
}

Cell flowCell(const Link& link) {
    return link.up ? Cell(link.flowControl != 0 ? "pause" : "none") : Cell();
}

Cell interfaceCell(const Port& port) {
    return Cell(fmt::format("eth{}", port.interfaceNumber));
}

Report showPorts(Call& call) {
    Table table{"ports",
                "Front panel",
                {{"port", "Port"},
                 {"interface", "Interface"},
                 {"admin", "Admin"},
                 {"link", "Link"},
                 {"speed", "Mbps", Align::kRight},
                 {"duplex", "Duplex"},
                 {"flow", "Flow"},
                 {"changes", "Changes", Align::kRight}},
                {},
                "no ports: no card is operational yet, or there is no interface eth1",
                ""};
    for (const auto& [instance, port] : call.machine.ports().ports())
        table.rows.push_back({port.name(), interfaceCell(port),
                              port.enabled ? "enabled" : "disabled", port.link.up ? "up" : "down",
                              speedCell(port.link), duplexCell(port.link), flowCell(port.link),
                              port.changes});
    const std::optional<Link>& known = call.machine.ports().managementLink();
    const Link management = known.value_or(Link{});
    Fields fields{"management",
                  "Management port (eth0)",
                  {{"link", "Link", known ? Cell(known->up ? "up" : "down") : Cell()},
                   {"speed", "Mbps", speedCell(management)},
                   {"duplex", "Duplex", duplexCell(management)}}};
    return Report(table).add(fields);
}

Report showPort(Call& call) {
    Port& port = portOf(call);
    call.machine.ports().pollPort(port);
    Platform& platform = call.context.platform;
    auto& slot = platform.slot(static_cast<int>(port.slot()));
    uint32_t forwarding = 0;
    platform.call(slot, &HalCardSlotOps::cardPortGetForwardingState, port.instance, 0u,
                  &forwarding);
    HalPortMediaType media{};
    platform.call(slot, &HalCardSlotOps::cardPortGetMediaType, port.instance, &media);
    return Fields{"port",
                  "Port " + port.name(),
                  {{"port", "Port", port.name()},
                   {"instance", "Port instance", hexCell(port.instance)},
                   {"interface", "Interface", interfaceCell(port)},
                   {"admin", "Admin", port.enabled ? "enabled" : "disabled"},
                   {"link", "Link", port.link.up ? "up" : "down"},
                   {"speed", "Speed Mbps", speedCell(port.link)},
                   {"duplex", "Duplex", duplexCell(port.link)},
                   {"flow", "Flow control", flowCell(port.link)},
                   {"changes", "Link changes", port.changes},
                   {"lastChangeMs", "Last change at ms", port.lastChangeMs},
                   {"forwarding", "Forwarding state", forwarding},
                   {"media", "Media type", media.primary}}};
}

Report countersReport(const Port& port, const PortStatsRecord& record, bool counted) {
    Fields fields{"counters", "Counters of port " + port.name(), {}};
    fields.fields.push_back({"port", "Port", port.name()});
    for (const Counter& counter : kCounters)
        fields.fields.push_back({counter.key, counter.title, uint64_t{record.*counter.field}});
    if (!counted) fields.title += " (link down: as last read)";
    return fields;
}

Report showPortCounters(Call& call) {
    Port& port = portOf(call);
    const bool counted = call.machine.ports().readCounters(port);
    return countersReport(port, port.counters, counted);
}

Report readClear(Call& call) {
    Port& port = portOf(call);
    const bool counted = call.machine.ports().readCounters(port);
    const PortStatsRecord record = port.counters;
    call.machine.ports().zeroCounters(port.slot(), port.number());
    return countersReport(port, record, counted);
}

void changePort(Call& call) {
    PortManager& ports = call.machine.ports();
    Port& port = portOf(call);
    const std::string& action = call.text("action");
    if (action == "restart") {
        ports.restart(port);
        return;
    }
    ports.enable(port, action == "enable");
    ports.pollPort(port);
}

uint32_t speedCode(const std::string& speed) {
    for (uint32_t code = 1; code < std::size(PortManager::kSpeeds); ++code)
        if (speed == PortManager::kSpeeds[code]) return code;
    return 0;
}

void configureAutoNeg(Call& call) {
    HalPortAutoNeg config{};
    config.on = call.text("state") == "on" ? 1 : 0;
    config.speedGiven = call.has("speed") ? 1 : 0;
    config.duplexGiven = call.has("duplex") ? 1 : 0;
    config.speed = speedCode(call.textOr("speed", "100"));
    config.fullDuplex = call.textOr("duplex", "full") == "full" ? 1 : 0;
    call.machine.ports().configureAutoNeg(portOf(call), config);
}

}  // namespace

void addPortVerbs(HostVerbs& verbs) {
    verbs.show("show po~rts", "the front panel", showPorts);
    verbs.show("show port <port*>", "one port, asked now", showPort);
    verbs.show("show counters <port*>", "counters of a port since they were zeroed",
               showPortCounters);
    verbs.action("port <port*> <action:enable|disable|restart>", "administrative state, PHY reset",
                 changePort);
    verbs.action(
        "port <port*> autoneg <state:on|off> [speed <speed:10|100|1000|10000>] "
        "[duplex <duplex:full|half>]",
        "auto-negotiation of a port (kept by the platform, not sent to the PHY)", configureAutoNeg);
    verbs.action("counters zero <port*>", "count from now on", [](Call& call) {
        const Port& port = portOf(call);
        call.machine.ports().zeroCounters(port.slot(), port.number());
    });
    const auto zeroSlot = [](Call& call) {
        call.machine.ports().zeroSlotCounters(static_cast<uint32_t>(slotOf(call)));
    };
    verbs.action("counters zero slot <slot*:text>", "the same for all ports of a slot", zeroSlot);
    verbs.action("counters slot <slot*:text>", "short for that", zeroSlot);
    verbs.show("counters read-clear <port*>", "read the counters and count from now on", readClear);
}

}  // namespace pcsim::host
