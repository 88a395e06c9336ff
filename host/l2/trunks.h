// Trunks: several front-panel ports under one logical port of type 1.
//
// The pif of trunk n has the instance 0x01000000 + n and lives as long as the trunk, so that every
// trunk that a member's record names can be looked up: a resynchronisation of the platform waits
// for one that can't. Like memberships, the list of members outlives their cards.
#ifndef PCSIM_HOST_L2_TRUNKS_H
#define PCSIM_HOST_L2_TRUNKS_H

#include <map>
#include <set>

#include "host/core/context.h"
#include "host/l2/fdb.h"

namespace pcsim::host {

class Trunks {
public:
    static constexpr uint32_t kMost = 128;

    Trunks(Context& context, Fdb& fdb) : context_(context), fdb_(fdb) {}

    void create(uint32_t number);
    void remove(uint32_t number);
    // A port whose card isn't in service joins when that comes up.
    void addMember(uint32_t number, uint32_t instance);
    void removeMember(uint32_t number, uint32_t instance);
    // Has the platform add the members of a slot that is up again.
    void sync(int slot);
    // For all trunks; 'slotsUp' are the slots with an operational card.
    void chooseAlgorithm(uint32_t algorithm, const std::set<int>& slotsUp);
    uint32_t algorithm() const { return algorithm_; }

    void cardUp(int slot);
    void cardDown(int slot);
    void running(Lines& lines) const;
    void shutDown();

    using Members = std::set<uint32_t>;  // port instances
    const std::map<uint32_t, Members>& all() const { return members_; }

    // Tells of an entry of the MAC table whether it is on a trunk that has no port in the entry's
    // VLAN any more, when the ports that 'leaving' is true for are gone.
    using Leaving = std::function<bool(const HalPif&)>;
    Fdb::Predicate unreachable(Leaving leaving) const;

    // The port instance of a trunk, or a CommandError that says which trunks there are.
    uint32_t existing(uint32_t number) {
        membersOf(number);
        return instanceOf(number);
    }

    static uint32_t instanceOf(uint32_t number) {
        return portInstance(0, number, HAL_PORT_TYPE_TRUNK);
    }

private:
    bool leadsTo(uint32_t trunkInstance, uint32_t vlanInstance, const Leaving& leaving) const;
    // The members, or a CommandError that says which trunks there are.
    Members& membersOf(uint32_t number);

    Context& context_;
    Fdb& fdb_;
    std::map<uint32_t, Members> members_;  // by trunk number
    uint32_t algorithm_ = 0;
};

}  // namespace pcsim::host

#endif
