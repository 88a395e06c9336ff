// Ports of cards, link polls, counters.
#include "host/ports/port_manager.h"

#include "console/text.h"
#include "host/cards/card_manager.h"
#include "host/core/lines.h"
#include "host/ports/counters.h"

namespace pcsim::host {

namespace {

// As soon as a person would notice, and seldom enough to cost nothing.
constexpr std::chrono::milliseconds kBetweenAsks{10};

}  // namespace

void PortManager::boot() {
    context_.scheduler.every(kPollPeriodMs, "port link poll", [this] { pollAll(); });
}

void PortManager::cardUp(int slot) {
    const HalCardSlotDb& table = context_.platform.slotRecord(slot);
    const auto slotNumber = static_cast<uint32_t>(slot);
    for (uint32_t number = 1; number <= table.portCount; ++number) {
        const uint32_t instance = portInstance(slotNumber, number);
        Port& port = ports_[instance];
        port.instance = instance;
        port.interfaceNumber = cards_.interfaceNumber(slotNumber, number);
        context_.records.addPif(instance);
        enable(port, true);
        pollPort(port);
    }
    if (slot == context_.ownSlot)
        managementLink_ = askLink(portInstance(slotNumber, 1, HAL_PORT_TYPE_MANAGEMENT));
    if (table.portCount != 0)
        context_.events.note("port", "Slot {}: {} enabled", slot,
                             counted(table.portCount, "port", "ports"));
}

void PortManager::cardDown(int slot) {
    if (slot == context_.ownSlot) managementLink_.reset();
    unsigned count = 0;
    for (auto entry = ports_.begin(); entry != ports_.end();) {
        if (entry->second.slot() != static_cast<uint32_t>(slot)) {
            ++entry;
            continue;
        }
        entry = ports_.erase(entry);
        ++count;
    }
    if (count != 0)
        context_.events.note("port", "Slot {}: {} gone", slot, counted(count, "port", "ports"));
}

std::string PortManager::existing() const {
    if (ports_.empty()) return "there are no ports yet";
    // Runs of one slot, as "1:1 to 1:4".
    std::string text;
    const Port* first = nullptr;
    const Port* last = nullptr;
    const auto close = [&] {
        if (first == nullptr) return;
        text += text.empty() ? "ports are " : ", ";
        text += first == last ? first->name() : first->name() + " to " + last->name();
    };
    for (const auto& [instance, port] : ports_) {
        if (first != nullptr && port.slot() != first->slot()) {
            close();
            first = nullptr;
        }
        if (first == nullptr) first = &port;
        last = &port;
    }
    close();
    return text;
}

Port& PortManager::port(uint32_t slot, uint32_t number) {
    const auto found = ports_.find(portInstance(slot, number));
    if (found == ports_.end() || slot > 0xFF || number > 0xFFFF)
        fail("port {}:{} does not exist; {}", slot, number, existing());
    return found->second;
}

void PortManager::enable(Port& port, bool on) {
    port.enabled = on;
    context_.platform.call(slotTable(port), &HalCardSlotOps::cardPortEnable, port.instance,
                           on ? 1u : 0u);
}

void PortManager::restart(Port& port) {
    const int32_t result =
        context_.platform.call(slotTable(port), &HalCardSlotOps::cardPortRestart, port.instance);
    if (result != 0)
        fail("port {} can't be restarted: eth{} refuses the PHY reset", port.name(),
             port.interfaceNumber);
}

void PortManager::configureAutoNeg(Port& port, const HalPortAutoNeg& config) {
    context_.platform.call(slotTable(port), &HalCardSlotOps::cardPortConfigAutoNeg, port.instance,
                           &config);
    port.autoNeg = config;
}

void PortManager::running(Lines& lines) {
    for (const auto& [instance, port] : ports_) {
        const std::string name = "port " + port.name();
        const HalPortAutoNeg& asked = port.autoNeg;
        if (asked.on == 0 || asked.speedGiven != 0 || asked.duplexGiven != 0) {
            std::string line = name + (asked.on != 0 ? " autoneg on" : " autoneg off");
            if (asked.speedGiven != 0) line += std::string(" speed ") + kSpeeds[asked.speed];
            if (asked.duplexGiven != 0)
                line += asked.fullDuplex != 0 ? " duplex full" : " duplex half";
            lines.replace(line, name + " autoneg on");
        }
        if (!port.enabled) lines.add(name + " disable", name + " enable");
    }
}

// Whether a poll would find what the last one has found. A clock that follows the PC's comes by
// only once a second, and whoever looks at calls sees all of them.
bool PortManager::isSettled() const {
    return context_.scheduler.stopped() && settled_ && settled_->worked == context_.loop.worked() &&
           std::chrono::steady_clock::now() - settled_->at < kBetweenAsks &&
           !context_.platform.isWatched();
}

void PortManager::pollAll() {
    if (isSettled()) return;
    settled_ = Settled{context_.loop.worked(), std::chrono::steady_clock::now()};
    bool same = true;
    for (auto& [instance, port] : ports_) same = pollPort(port) && same;
    if (!same) settled_.reset();
}

std::optional<Link> PortManager::askLink(uint32_t instance) {
    uint32_t link = 0, duplex = 0, speed = 0, flowControl = 0, extra = 0;
    auto& table = context_.platform.slot(static_cast<int>(slotOf(instance)));
    const int32_t result =
        context_.platform.call(table, &HalCardSlotOps::cardPortLinkInfo, instance, &link, &duplex,
                               &speed, &flowControl, &extra);
    if (result != 0) return std::nullopt;
    return link != 0 ? Link{true, duplex, speed, flowControl} : Link{};
}

bool PortManager::pollPort(Port& port) {
    // A query that fails leaves nothing to believe in: the port counts as down.
    const std::optional<Link> answer = askLink(port.instance);
    const Link now = answer.value_or(Link{});
    const bool changed = now.up != port.link.up;
    port.link = now;
    if (!changed) return answer.has_value();
    ++port.changes;
    port.lastChangeMs = context_.scheduler.nowMs();
    if (port.enabled || now.up)
        context_.events.note("port", "Port {} link {}", port.name(), describe(now));
    else
        context_.events.note("port", "Port {} link down (disabled)", port.name());
    context_.platform.call(slotTable(port), &HalCardSlotOps::cardPortLinkChange, port.instance,
                           now.up ? 1u : 0u);
    return false;
}

std::string PortManager::describe(const Link& link) {
    if (!link.up) return "down";
    const char* const speed =
        link.speed != 0 && link.speed < std::size(kSpeeds) ? kSpeeds[link.speed] : "?";
    return fmt::format("up, {} Mbps {}{}", speed, link.duplex != 0 ? "full" : "half",
                       link.flowControl != 0 ? ", pause" : "");
}

bool PortManager::readCounters(Port& port) {
    PortStatsRecord record{};
    // The platform leaves the record alone while the link is down; a counter never reads this.
    constexpr uint64_t kUntouched = ~uint64_t{0};
    record.receivedPackets = kUntouched;
    const int32_t result = context_.platform.call(
        slotTable(port), &HalCardSlotOps::cardPortGetStats, port.instance, &record);
    if (result != 0)
        fail("counters of port {} can't be read: the platform answered {}", port.name(), result);
    if (record.receivedPackets == kUntouched) return false;
    if (context_.options.chassis)
        for (const Counter& counter : kCounters)
            port.counters.*counter.field += record.*counter.field;
    else
        port.counters = record;
    return true;
}

void PortManager::zeroCounters(uint32_t slot, uint32_t number) {
    Port& port = this->port(slot, number);
    context_.platform.call(slotTable(port), &HalCardSlotOps::cardPortZeroStats, port.instance);
    port.counters = {};
}

void PortManager::zeroSlotCounters(uint32_t slot) {
    cards_.presentCard(static_cast<int>(slot));
    auto& table = context_.platform.slot(static_cast<int>(slot));
    context_.platform.call(table, &HalCardSlotOps::cardPortZeroStats, portInstance(slot, 0));
    for (auto& [instance, port] : ports_)
        if (port.slot() == slot) port.counters = {};
}

void PortManager::managementLinkChanged(uint32_t instance, const Link& link) {
    managementLink_ = link;
    context_.events.note("port", "Management port of slot {} link {}", host::slotOf(instance),
                         describe(link));
}

}  // namespace pcsim::host
