// The host's interface records: one pif per port or trunk, one vlanIf per VLAN, one vpif per
// membership, each with the place for the hardware handle that the platform gives it. The platform
// looks them up through the host functions while it works, so they are found in constant time.
#ifndef PCSIM_HOST_CORE_RECORDS_H
#define PCSIM_HOST_CORE_RECORDS_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pcsim/host_records.h"

namespace pcsim::host {

// A port instance from its parts, and back.
constexpr uint32_t portInstance(uint32_t slot, uint32_t port, uint32_t type = 0) {
    return type << 24 | (slot & 0xFF) << 16 | (port & 0xFFFF);
}
constexpr uint32_t typeOf(uint32_t instance) {
    return instance >> 24;
}
constexpr uint32_t slotOf(uint32_t instance) {
    return (instance >> 16) & 0xFF;
}
constexpr uint32_t portOf(uint32_t instance) {
    return instance & 0xFFFF;
}

// VLAN ids are 1 to this.
inline constexpr uint16_t kLastVlan = 4094;

// "1:2" or "trunk 3".
std::string portName(uint32_t instance);

struct Pif {
    HalPif record{};
    HalHwHandle* handle = nullptr;
};

struct Vpif {
    HalVpif record{};
    HalHwHandle* handle = nullptr;
};

struct VlanIf {
    HalVlanIf record{};
    HalHwHandle* handle = nullptr;
    std::map<uint32_t, std::unique_ptr<Vpif>> members;  // by port instance
};

class Records {
public:
    // The record of a port or trunk, made when there is none.
    Pif& addPif(uint32_t instance);
    void removePif(uint32_t instance);
    // Removes the front-panel ports of a slot, with their memberships.
    void removePorts(uint32_t slot);
    Pif* pif(uint32_t instance);
    // In the order of their instances.
    const std::map<uint32_t, std::unique_ptr<Pif>>& pifs() const { return pifs_; }

    // The record of a VLAN; its instance number is chosen here and never used again.
    VlanIf& addVlan(uint16_t vlanId);
    void removeVlan(uint16_t vlanId);
    VlanIf* vlan(uint16_t vlanId);
    // The same, or a CommandError that says how to get it.
    VlanIf& neededVlan(uint16_t vlanId);
    VlanIf* vlanByInstance(uint32_t instance) {
        return instance < byInstance_.size() ? byInstance_[instance] : nullptr;
    }
    const std::map<uint16_t, std::unique_ptr<VlanIf>>& vlans() const { return vlans_; }

    Vpif& addMember(VlanIf& vlan, Pif& pif, bool tagged);
    void removeMember(VlanIf& vlan, uint32_t instance);

private:
    // VLAN instance numbers start here, so that they are told from VLAN ids at a glance.
    static constexpr uint32_t kFirstVlanInstance = 0x1000;

    std::map<uint32_t, std::unique_ptr<Pif>> pifs_;
    std::map<uint16_t, std::unique_ptr<VlanIf>> vlans_;
    std::vector<VlanIf*> byInstance_;
    uint32_t nextVlanInstance_ = kFirstVlanInstance;
};

}  // namespace pcsim::host

#endif
