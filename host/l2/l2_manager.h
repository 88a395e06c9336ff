// The layer-2 manager: the hardware handles of ports, the VLANs and their members, and with them
// the MAC table (fdb.h) and the trunks (trunks.h).
//
// Memberships are configuration: they outlive the card. While a card is up, each of its ports has a
// pif with a hardware handle, the card knows every VLAN, and each membership of its ports is a vpif
// with a handle of its own. When it goes all of that is given back, and when it comes again it is
// made anew.
#ifndef PCSIM_HOST_L2_L2_MANAGER_H
#define PCSIM_HOST_L2_L2_MANAGER_H

#include <map>
#include <set>

#include "console/values.h"
#include "host/core/context.h"
#include "host/l2/fdb.h"
#include "host/l2/trunks.h"

namespace pcsim::host {

class CardManager;
class PortManager;

class L2Manager : public Manager {
public:
    L2Manager(Context& context, CardManager& cards, PortManager& ports)
        : fdb_(context), trunks_(context, fdb_), context_(context), cards_(cards), ports_(ports) {}

    void boot() override { fdb_.init(); }
    void cardUp(int slot) override;
    void cardDown(int slot) override;
    void running(Lines& lines) override;
    void shutDown() override;

    Fdb& fdb() { return fdb_; }
    Trunks& trunks() { return trunks_; }

    VlanIf& createVlan(uint16_t id);
    void deleteVlan(VlanIf& vlan);
    // The VLAN, or a CommandError that says how to get it.
    VlanIf& vlan(uint16_t id);
    // The same for what only makes sense with a VLAN that is there, as its deletion.
    VlanIf& existingVlan(uint16_t id);

    // Adds a port, or changes its tag. A port whose card isn't in service joins when that comes up.
    void addMember(VlanIf& vlan, uint32_t instance, bool tagged);
    // The instance of a port that can be configured: one that is there, or that a card can bring
    // which isn't in service. A CommandError that says which ports there are for all others.
    uint32_t configurablePort(SlotPort at);
    // Removes a port, whether its card is there or not.
    void removeMember(VlanIf& vlan, uint32_t instance);

    // Port instance -> tagged. Holds the ports of absent cards too.
    using Members = std::map<uint32_t, bool>;
    const Members& members(uint16_t vlanId) { return members_[vlanId]; }

    const std::set<int>& slotsUp() const { return slotsUp_; }

    // The port on which the MAC table keeps what is learned on a member: its trunk, or itself.
    // A CommandError when the port is not there or not in the VLAN.
    uint32_t learningPort(VlanIf& vlan, uint32_t slot, uint32_t port);

    // Calls 'see' for every address by VLAN and address, with a port whose learningPort() it is on.
    void forEachAddress(const std::function<void(const MacEntry&, uint32_t port)>& see);

private:
    void makeHandle(Pif& pif);
    void makeMember(VlanIf& vlan, Pif& pif, bool tagged, bool again);
    void releaseMember(VlanIf& vlan, Vpif& member);
    void releaseVlan(VlanIf& vlan);
    void restoreVlans(int slot);
    void forgetAddressesOf(VlanIf& vlan, const HalPif& leaving);

    Fdb fdb_;
    Trunks trunks_;
    Context& context_;
    CardManager& cards_;
    PortManager& ports_;
    std::map<uint16_t, Members> members_;  // by VLAN id
    std::set<int> slotsUp_;
};

}  // namespace pcsim::host

#endif
