// Verbs of VLANs and trunks.
#include "host/verbs/host_verbs.h"

#include "console/present.h"
#include "host/l2/l2_manager.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

// A list of ports, runs of one slot drawn together: "1:1-3, 2:7". Ports whose card is absent are
// in parentheses.
class PortList {
public:
    explicit PortList(Records& records) : records_(records) {}

    // In ascending order.
    void add(uint32_t instance) {
        const bool here = records_.pif(instance) != nullptr;
        if (last_ != 0 && instance == last_ + 1 && here == here_) {
            last_ = instance;
            return;
        }
        close();
        first_ = last_ = instance;
        here_ = here;
    }

    Cell cell() {
        close();
        return text_.empty() ? Cell() : Cell(text_);
    }

private:
    void close() {
        if (last_ == 0) return;
        std::string run = portName(first_);
        if (last_ != first_) run += fmt::format("-{}", host::portOf(last_));
        text_ += (text_.empty() ? "" : ", ") + (here_ ? run : "(" + run + ")");
        last_ = 0;
    }

    Records& records_;
    std::string text_;
    uint32_t first_ = 0, last_ = 0;
    bool here_ = false;
};

// The instance of a port that may belong to an absent card.
uint32_t configuredInstance(Call& call) {
    const SlotPort at = call.port();
    if (at.slot > 0xFF) call.machine.ports().port(at.slot, at.port);
    return portInstance(at.slot, at.port);
}

Report showVlans(Call& call) {
    Table table{"vlans",
                "VLANs",
                {{"vlan", "VLAN", Align::kRight},
                 {"instance", "Instance", Align::kRight},
                 {"untagged", "Untagged ports"},
                 {"tagged", "Tagged ports"},
                 {"addresses", "Addresses", Align::kRight}},
                {},
                "none; 'vlan create ID' makes one",
                ""};
    L2Manager& l2 = call.machine.l2();
    std::map<uint32_t, uint64_t> addresses;
    l2.fdb().forEach([&](uint32_t, const MacEntry& entry) { ++addresses[entry.vlanId]; });
    const RowRange range = rowRangeOf(call, kHighestLimit);
    uint64_t matching = 0;
    for (const auto& [id, vlan] : call.context.records.vlans()) {
        if (!range.has(matching++)) continue;
        PortList untagged(call.context.records), tagged(call.context.records);
        for (const auto& [instance, isTagged] : l2.members(id))
            (isTagged ? tagged : untagged).add(instance);
        table.rows.push_back(
            {id, vlan->record.instance, untagged.cell(), tagged.cell(), addresses[id]});
    }
    table.flexible = {{2, Cut::kEnd}, {3, Cut::kEnd}};
    Pages pages;
    pages.note(table, range, matching, "VLANs");
    return Report(std::move(table)).add(pages.table());
}

Report showTrunks(Call& call) {
    Table table{"trunks",
                "Trunks",
                {{"trunk", "Trunk", Align::kRight},
                 {"instance", "Instance"},
                 {"members", "Members"},
                 {"linksUp", "Links up", Align::kRight},
                 {"addresses", "Addresses", Align::kRight}},
                {},
                "none; 'trunk create NUMBER' makes one",
                ""};
    L2Manager& l2 = call.machine.l2();
    std::map<uint32_t, uint64_t> addresses;
    l2.fdb().forEach([&](uint32_t, const MacEntry& entry) { ++addresses[entry.port]; });
    const auto& ports = call.machine.ports().ports();
    for (const auto& [number, members] : l2.trunks().all()) {
        PortList list(call.context.records);
        unsigned linksUp = 0;
        for (const uint32_t instance : members) {
            list.add(instance);
            const auto port = ports.find(instance);
            if (port != ports.end() && port->second.link.up) ++linksUp;
        }
        const uint32_t instance = Trunks::instanceOf(number);
        table.rows.push_back(
            {number, hexCell(instance), list.cell(), linksUp, addresses[instance]});
    }
    table.flexible = {{2, Cut::kEnd}};
    return Report(table).add(
        Fields{"loadSharing", "", {{"algorithm", "Address algorithm", l2.trunks().algorithm()}}});
}

void changeMember(Call& call) {
    L2Manager& l2 = call.machine.l2();
    VlanIf& vlan = l2.vlan(call.vlan());
    l2.addMember(vlan, l2.configurablePort(call.port()), call.given("tagged"));
}

void syncTrunks(Call& call) {
    L2Manager& l2 = call.machine.l2();
    const int slot = slotOf(call);
    if (!l2.slotsUp().contains(slot)) fail("slot {} has no operational card to synchronise", slot);
    l2.trunks().sync(slot);
}

uint32_t trunkOf(Call& call) {
    return static_cast<uint32_t>(call.number("trunk"));
}

}  // namespace

void addL2Verbs(HostVerbs& verbs) {
    verbs.show("show vlans [limit <limit:1-1000000>] [from <from:0-1000000000>]",
               "VLANs and their ports", showVlans);
    verbs.action("vlan create <vlan*>", "make a VLAN",
                 [](Call& call) { call.machine.l2().createVlan(call.vlan()); });
    verbs.action("vlan delete <vlan*>", "delete a VLAN with its memberships and addresses",
                 [](Call& call) {
                     L2Manager& l2 = call.machine.l2();
                     l2.deleteVlan(l2.existingVlan(call.vlan()));
                 });
    verbs.action("vlan <vlan*> add <port*> [tagged]", "add a port to a VLAN, or change its tag",
                 changeMember);
    verbs.action("vlan <vlan*> remove <port*>", "remove a port from a VLAN", [](Call& call) {
        L2Manager& l2 = call.machine.l2();
        VlanIf& vlan = l2.existingVlan(call.vlan());
        l2.removeMember(vlan, configuredInstance(call));
    });
}

void addTrunkVerbs(HostVerbs& verbs) {
    verbs.show("show trunks", "trunks, their ports and the address algorithm", showTrunks);
    verbs.action("trunk create <trunk*:1-128>", "make a trunk",
                 [](Call& call) { call.machine.l2().trunks().create(trunkOf(call)); });
    verbs.action("trunk delete <trunk*:1-128>", "delete a trunk",
                 [](Call& call) { call.machine.l2().trunks().remove(trunkOf(call)); });
    verbs.action("trunk add <trunk:1-128> <port*>", "add a port to a trunk", [](Call& call) {
        L2Manager& l2 = call.machine.l2();
        l2.trunks().addMember(trunkOf(call), l2.configurablePort(call.port()));
    });
    verbs.action(
        "trunk remove <trunk:1-128> <port*>", "remove a port from a trunk", [](Call& call) {
            call.machine.l2().trunks().removeMember(trunkOf(call), configuredInstance(call));
        });
    verbs.action("trunk sync <slot*:text>", "have the platform add the trunk ports of a slot again",
                 syncTrunks);
    verbs.action("trunk algorithm <algorithm:u32>", "address algorithm of all trunks",
                 [](Call& call) {
                     L2Manager& l2 = call.machine.l2();
                     l2.trunks().chooseAlgorithm(call.u32("algorithm"), l2.slotsUp());
                 });
}

}  // namespace pcsim::host
