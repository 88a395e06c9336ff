// What completion offers for the values of the host's commands, and what "all" of them are.
#include "console/text.h"
#include "host/acl/acl_manager.h"
#include "host/cards/card_manager.h"
#include "host/devices/device_manager.h"
#include "host/environment/environment_monitor.h"
#include "host/l2/l2_manager.h"
#include "host/ports/port_manager.h"
#include "host/verbs/host_verbs.h"

namespace pcsim::host {

namespace {

constexpr size_t kMostMacs = 200;  // nobody reads more

// The keys of a map as words.
template <typename Map>
Words numbersOf(const Map& map) {
    Words words;
    for (const auto& [number, unused] : map) words.push_back(std::to_string(number));
    return words;
}

Words portNames(Machine& machine) {
    Words names;
    for (const auto& [instance, port] : machine.ports().ports()) names.push_back(port.name());
    return names;
}

Words slotsWithCards(Machine& machine) {
    Words slots;
    for (const auto& [slot, card] : machine.cards().cards())
        if (card.state != CardState::kEmpty) slots.push_back(std::to_string(slot));
    return slots;
}

Words macAddresses(Machine& machine) {
    Words macs;
    machine.l2().fdb().forEach([&](uint32_t, const MacEntry& entry) {
        if (macs.size() < kMostMacs) macs.push_back(macText(entry.mac.data()));
    });
    return macs;
}

Words aclNames(Machine& machine) {
    Words names;
    for (const auto& [name, list] : machine.acl().lists()) names.push_back(name);
    return names;
}

Words cardTypes(Machine& machine) {
    Words names;
    for (const HalCardTypeEntry& entry : machine.context.chassisCapability)
        names.push_back(textOf(entry.name));
    return names;
}

Words operationNames(Machine&) {
    Words names;
    for (const probe::Operation& operation : probe::operations())
        names.emplace_back(operation.name);
    return names;
}

Words componentNames(Machine& machine) {
    Words names;
    for (const auto& component : machine.context.logger.components())
        names.emplace_back(component.name);
    return names;
}

Words vlanNumbers(Machine& machine) {
    return numbersOf(machine.context.records.vlans());
}

Words trunkNumbers(Machine& machine) {
    return numbersOf(machine.l2().trunks().all());
}

Words fanNumbers(Machine& machine) {
    return numbersOf(machine.environment().fans().units());
}

Words deviceNumbers(Machine& machine) {
    return numbersOf(machine.devices().devices());
}

Words checkpointNames(Machine& machine) {
    Words names;
    for (const auto& [name, checkpoint] : machine.states.checkpoints) names.push_back(name);
    return names;
}

// By the place in the help.
constexpr std::pair<const char*, Words (*)(Machine&)> kCandidates[] = {
    {"<port>", portNames},
    {"<slot>", slotsWithCards},
    {"<vlan>", vlanNumbers},
    {"<iif>", vlanNumbers},
    {"<trunk>", trunkNumbers},
    {"<mac>", macAddresses},
    {"<name>", aclNames},
    {"<type>", cardTypes},
    {"<fan>", fanNumbers},
    {"<checkpoint>", checkpointNames},
    {"<other>", checkpointNames},
    {"<device>", deviceNumbers},
    {"<operation>", operationNames},
    {"<component>", componentNames},
};

}  // namespace

void addCandidates(Console& console, Machine& machine) {
    for (const auto& [place, values] : kCandidates)
        console.candidates[place] = [&machine, of = values] { return of(machine); };
}

}  // namespace pcsim::host
