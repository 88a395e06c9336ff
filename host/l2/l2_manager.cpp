// VLANs, their members, and the hardware handles behind them.
#include "host/l2/l2_manager.h"

#include "console/text.h"
#include "host/cards/card_manager.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

// The forwarding state that a member's record tells the platform.
constexpr uint32_t kForwarding = 3;

// Runs an operation that a card may lack.
template <typename... Arguments>
void offer(Platform& platform, int slot, auto word, Arguments... arguments) {
    auto& table = platform.slot(slot);
    if (table.ops.*word != nullptr) platform.call(table, word, arguments...);
}

}  // namespace

void L2Manager::cardUp(int slot) {
    Platform& platform = context_.platform;
    slotsUp_.insert(slot);
    for (const auto& [instance, pif] : context_.records.pifs())
        if (typeOf(instance) == HAL_PORT_TYPE_FRONT_PANEL && pif->record.slot == slot)
            makeHandle(*pif);
    offer(platform, slot, &HalCardSlotOps::cardFdbInit, slot);
    restoreVlans(slot);
    trunks_.cardUp(slot);
    offer(platform, slot, &HalCardSlotOps::cardFdbSyncHw, slot);
}

// Tells a card that came up of every VLAN, and of those of its ports that are members.
void L2Manager::restoreVlans(int slot) {
    Platform& platform = context_.platform;
    size_t restored = 0;
    offer(platform, slot, &HalCardSlotOps::cardVlanBeginSync);
    offer(platform, slot, &HalCardSlotOps::cardVlanDeferUpdateStart);
    for (const auto& [id, vlan] : context_.records.vlans()) {
        offer(platform, slot, &HalCardSlotOps::cardVlanCreate, slot, &vlan->record);
        for (const auto& [instance, tagged] : members_[id]) {
            Pif* pif = context_.records.pif(instance);
            if (slotOf(instance) != static_cast<uint32_t>(slot) || pif == nullptr) continue;
            if (vlan->members.contains(instance)) continue;
            makeMember(*vlan, *pif, tagged, true);
            ++restored;
        }
    }
    offer(platform, slot, &HalCardSlotOps::cardVlanSyncSlot);
    offer(platform, slot, &HalCardSlotOps::cardVlanDeferUpdateEnd);
    if (restored != 0)
        context_.events.note("l2", "Slot {}: {} restored", slot,
                             counted(restored, "VLAN membership", "VLAN memberships"));
}

void L2Manager::cardDown(int slot) {
    if (slotsUp_.erase(slot) == 0) return;
    const auto ofSlot = [slot](const HalPif& pif) { return pif.slot == slot; };
    const auto trunkLost = trunks_.unreachable(ofSlot);
    const Fdb::Removed addresses = fdb_.removeIf([&](const MacEntry& entry) {
        return typeOf(entry.port) == HAL_PORT_TYPE_FRONT_PANEL
                   ? slotOf(entry.port) == static_cast<uint32_t>(slot)
                   : trunkLost(entry);
    });
    trunks_.cardDown(slot);
    if (addresses.count != 0)
        context_.events.note("l2", "Slot {}: {}", slot, Fdb::goneText(addresses));
    size_t memberships = 0;
    for (const auto& [id, vlan] : context_.records.vlans()) {
        for (const auto& [instance, member] : vlan->members) {
            if (slotOf(instance) != static_cast<uint32_t>(slot)) continue;
            releaseMember(*vlan, *member);
            ++memberships;
        }
        offer(context_.platform, slot, &HalCardSlotOps::cardVlanDelete, slot, &vlan->record);
    }
    if (memberships != 0)
        context_.events.note("l2", "Slot {}: {} gone", slot,
                             counted(memberships, "VLAN membership", "VLAN memberships"));
    Platform& platform = context_.platform;
    offer(platform, slot, &HalCardSlotOps::cardFdbCleanup, slot);
    for (const auto& [instance, pif] : context_.records.pifs())
        if (typeOf(instance) == HAL_PORT_TYPE_FRONT_PANEL && pif->record.slot == slot)
            platform.call(platform.family, &HalFamilyOps::cardPifDelete, &pif->record,
                          &pif->handle);
}

// Gives the platform its handles back while it still can trace.
void L2Manager::shutDown() {
    Platform& platform = context_.platform;
    if (!platform.family.valid) return;
    while (!slotsUp_.empty()) cardDown(*slotsUp_.begin());
    trunks_.shutDown();
    for (const auto& [id, vlan] : context_.records.vlans()) releaseVlan(*vlan);
    fdb_.shutDown();
}

void L2Manager::makeHandle(Pif& pif) {
    if (pif.handle != nullptr) return;
    Platform& platform = context_.platform;
    platform.call(platform.family, &HalFamilyOps::cardPifCreate, &pif.record, &pif.handle);
    if (pif.handle == nullptr)
        context_.events.note("l2", "Port {} has no hardware handle: the platform gave none",
                             portName(pif.record.instance));
}

VlanIf& L2Manager::createVlan(uint16_t id) {
    if (context_.records.vlan(id) != nullptr) fail("VLAN {} exists already", id);
    Platform& platform = context_.platform;
    VlanIf& vlan = context_.records.addVlan(id);
    platform.call(platform.family, &HalFamilyOps::vlanIfCreate, &vlan.record, &vlan.handle);
    if (vlan.handle == nullptr) {
        context_.records.removeVlan(id);
        fail("VLAN {} can't be made: the platform gave no hardware handle", id);
    }
    for (const int slot : slotsUp_)
        offer(platform, slot, &HalCardSlotOps::cardVlanCreate, slot, &vlan.record);
    return vlan;
}

void L2Manager::deleteVlan(VlanIf& vlan) {
    const uint16_t id = vlan.record.vlanId;
    const Fdb::Removed addresses = fdb_.removeOf(vlan.record.instance, 0);
    if (addresses.count != 0)
        context_.events.note("l2", "VLAN {}: {}", id, Fdb::goneText(addresses));
    const Members members = members_[id];
    for (const auto& [instance, tagged] : members) removeMember(vlan, instance);
    members_.erase(id);
    context_.managers.vlanDown(id, vlan.record.instance);
    for (const int slot : slotsUp_)
        offer(context_.platform, slot, &HalCardSlotOps::cardVlanDelete, slot, &vlan.record);
    releaseVlan(vlan);
    context_.records.removeVlan(id);
}

void L2Manager::releaseVlan(VlanIf& vlan) {
    Platform& platform = context_.platform;
    platform.call(platform.family, &HalFamilyOps::vlanIfDelete, &vlan.record, &vlan.handle);
}

VlanIf& L2Manager::vlan(uint16_t id) {
    return context_.records.neededVlan(id);
}

VlanIf& L2Manager::existingVlan(uint16_t id) {
    VlanIf* vlan = context_.records.vlan(id);
    if (vlan == nullptr) fail("VLAN {} does not exist; 'show vlans' lists them", id);
    return *vlan;
}

void L2Manager::addMember(VlanIf& vlan, uint32_t instance, bool tagged) {
    const uint16_t id = vlan.record.vlanId;
    Pif* pif = context_.records.pif(instance);
    Members& members = members_[id];
    const auto known = members.find(instance);
    if (known != members.end()) {
        if (known->second == tagged)
            fail("port {} is in VLAN {} already, {}", portName(instance), id,
                 tagged ? "tagged" : "untagged");
        known->second = tagged;
        if (pif == nullptr) return;
        context_.records.addMember(vlan, *pif, tagged);
        offer(context_.platform, pif->record.slot, &HalCardSlotOps::cardVpifChangeTag);
        return;
    }
    if (pif != nullptr) makeMember(vlan, *pif, tagged, false);
    members[instance] = tagged;
}

uint32_t L2Manager::configurablePort(SlotPort at) {
    constexpr uint32_t kMostPorts = 256;  // of a card
    const bool slotThere =
        at.slot < uint32_t{Platform::kSlots} && cards_.cards().contains(static_cast<int>(at.slot));
    const bool waits = slotThere && !cards_.operational(static_cast<int>(at.slot));
    if (waits && at.port >= 1 && at.port <= kMostPorts) return portInstance(at.slot, at.port);
    return ports_.port(at.slot, at.port).instance;
}

// Makes the membership of a port that is there; 'again' when its card has come back.
void L2Manager::makeMember(VlanIf& vlan, Pif& pif, bool tagged, bool again) {
    Platform& platform = context_.platform;
    Vpif& member = context_.records.addMember(vlan, pif, tagged);
    member.record.state = kForwarding;
    platform.call(platform.family, &HalFamilyOps::vpifCreate, &member.record, &member.handle);
    if (member.handle == nullptr) {
        context_.records.removeMember(vlan, pif.record.instance);
        const std::string problem =
            fmt::format("port {} can't join VLAN {}: the platform gave no hardware handle",
                        portName(pif.record.instance), vlan.record.vlanId);
        if (!again) fail("{}", problem);
        context_.events.note("l2", "{}", problem);
        return;
    }
    offer(platform, pif.record.slot,
          again ? &HalCardSlotOps::cardSyncVlanAddPort : &HalCardSlotOps::cardVlanAddPort,
          &member.record);
}

void L2Manager::releaseMember(VlanIf& vlan, Vpif& member) {
    static_cast<void>(vlan);
    Platform& platform = context_.platform;
    offer(platform, member.record.pif->slot, &HalCardSlotOps::cardVlanDeletePort, &member.record);
    platform.call(platform.family, &HalFamilyOps::vpifDelete, &member.record, &member.handle);
}

void L2Manager::removeMember(VlanIf& vlan, uint32_t instance) {
    if (members_[vlan.record.vlanId].erase(instance) == 0)
        fail("port {} is not in VLAN {}", portName(instance), vlan.record.vlanId);
    const auto found = vlan.members.find(instance);
    if (found == vlan.members.end()) return;  // its card is absent
    Vpif& member = *found->second;
    forgetAddressesOf(vlan, *member.record.pif);
    context_.managers.memberDown(vlan.record.vlanId, vlan.record.instance, instance);
    releaseMember(vlan, member);
    context_.records.removeMember(vlan, instance);
}

// A port leaves a VLAN: so do the addresses behind it, unless its trunk has another way there.
void L2Manager::forgetAddressesOf(VlanIf& vlan, const HalPif& leaving) {
    const auto trunkLost =
        trunks_.unreachable([&](const HalPif& pif) { return pif.instance == leaving.instance; });
    const Fdb::Removed removed = fdb_.removeIf([&](const MacEntry& entry) {
        return entry.vlanInstance == vlan.record.instance &&
               (entry.port == leaving.instance || trunkLost(entry));
    });
    if (removed.count != 0)
        context_.events.note("l2", "Port {} left VLAN {}: {}", portName(leaving.instance),
                             vlan.record.vlanId, Fdb::goneText(removed));
}

uint32_t L2Manager::learningPort(VlanIf& vlan, uint32_t slot, uint32_t port) {
    const uint32_t instance = ports_.port(slot, port).instance;
    if (!vlan.members.contains(instance))
        fail("port {}:{} is not in VLAN {}; 'vlan {} add {}:{}' puts it there", slot, port,
             vlan.record.vlanId, vlan.record.vlanId, slot, port);
    const HalPif& pif = context_.records.pif(instance)->record;
    return typeOf(pif.trunkInstance) == HAL_PORT_TYPE_TRUNK ? pif.trunkInstance : instance;
}

}  // namespace pcsim::host
