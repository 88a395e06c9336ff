// The interface records.
#include "host/core/records.h"

#include <fmt/core.h>

#include "console/error.h"

namespace pcsim::host {

std::string portName(uint32_t instance) {
    if (typeOf(instance) == HAL_PORT_TYPE_TRUNK) return fmt::format("trunk {}", portOf(instance));
    return fmt::format("{}:{}", slotOf(instance), portOf(instance));
}

// Records are whole before they are among the others, which have no empty places to be met when
// memory runs out.
Pif& Records::addPif(uint32_t instance) {
    if (Pif* const known = pif(instance)) return *known;
    auto pif = std::make_unique<Pif>();
    pif->record.instance = instance;
    pif->record.slot = static_cast<uint16_t>(slotOf(instance));
    pif->record.port = static_cast<uint16_t>(portOf(instance));
    pif->record.hwHandle = &pif->handle;
    return *pifs_.emplace(instance, std::move(pif)).first->second;
}

void Records::removePif(uint32_t instance) {
    pifs_.erase(instance);
}

void Records::removePorts(uint32_t slot) {
    const uint32_t first = portInstance(slot, 0), end = first + 0x10000;
    for (auto& [id, vlan] : vlans_)
        vlan->members.erase(vlan->members.lower_bound(first), vlan->members.lower_bound(end));
    pifs_.erase(pifs_.lower_bound(first), pifs_.lower_bound(end));
}

Pif* Records::pif(uint32_t instance) {
    const auto found = pifs_.find(instance);
    return found == pifs_.end() ? nullptr : found->second.get();
}

VlanIf& Records::addVlan(uint16_t vlanId) {
    if (VlanIf* const known = vlan(vlanId)) return *known;
    auto vlan = std::make_unique<VlanIf>();
    vlan->record.instance = nextVlanInstance_;
    vlan->record.vlanId = vlanId;
    vlan->record.hwHandle = &vlan->handle;
    byInstance_.resize(nextVlanInstance_ + 1, nullptr);
    VlanIf& added = *vlans_.emplace(vlanId, std::move(vlan)).first->second;
    byInstance_[nextVlanInstance_++] = &added;
    return added;
}

void Records::removeVlan(uint16_t vlanId) {
    const auto found = vlans_.find(vlanId);
    if (found == vlans_.end()) return;
    byInstance_[found->second->record.instance] = nullptr;
    vlans_.erase(found);
}

VlanIf* Records::vlan(uint16_t vlanId) {
    const auto found = vlans_.find(vlanId);
    return found == vlans_.end() ? nullptr : found->second.get();
}

VlanIf& Records::neededVlan(uint16_t vlanId) {
    VlanIf* const found = vlan(vlanId);
    if (found == nullptr) fail("VLAN {} does not exist; 'vlan create {}' makes it", vlanId, vlanId);
    return *found;
}

Vpif& Records::addMember(VlanIf& vlan, Pif& pif, bool tagged) {
    auto known = vlan.members.find(pif.record.instance);
    if (known == vlan.members.end()) {
        auto member = std::make_unique<Vpif>();
        member->record.pif = &pif.record;
        member->record.vlanIf = &vlan.record;
        member->record.hwHandle = &member->handle;
        known = vlan.members.emplace(pif.record.instance, std::move(member)).first;
    }
    known->second->record.flags = tagged ? HAL_VPIF_TAGGED : 0;
    return *known->second;
}

void Records::removeMember(VlanIf& vlan, uint32_t instance) {
    vlan.members.erase(instance);
}

}  // namespace pcsim::host
