// The multicast manager: programs caches into the platform and keeps a copy of what is there.
//
// The copy follows what the platform did, not what it was asked for: the chip hooks tell how many
// caches and ports a call made or released, whatever its result, and where a call can't be
// predicted (the flush by group and source) the platform is asked for each cache that may be gone.
// Several operations know no cache of any source: it can be added, but is found, extended and
// deleted only through its group and incoming VLAN.
#ifndef PCSIM_HOST_MCAST_MCAST_MANAGER_H
#define PCSIM_HOST_MCAST_MCAST_MANAGER_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/core/context.h"
#include "host/mcast/hooks.h"
#include "host/mcast/mcast_copy.h"
#include "pcsim/mcast.h"

namespace pcsim::host {

class McastManager : public Manager {
public:
    explicit McastManager(Context& context) : context_(context) {}

    void cardDown(int slot) override;
    void running(Lines& lines) override;
    void vlanDown(uint16_t vlanId, uint32_t vlanInstance) override;
    void memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) override;

    using OutgoingList = std::vector<McastOutgoing>;

    // Adds a cache or extends it; whether it is new. Throws a CommandError when the platform
    // refuses.
    bool add(const McastKey& key, const OutgoingList& outgoing);
    void remove(const McastKey& key);
    void addPorts(const McastKey& key, const OutgoingList& outgoing);
    // Of one cache, or for a source of 0 of all caches of the group on the incoming VLAN. How many.
    size_t removePorts(const McastKey& key, const OutgoingList& outgoing);
    // An outgoing VLAN with its ports, of the same caches.
    struct VlanRemoved {
        size_t caches = 0, ports = 0;
    };
    VlanRemoved removeVlan(const McastKey& key, uint32_t vlanInstance);
    // 0 in 'key' stands for any; how many caches went.
    size_t flush(const McastKey& key);

    // Whether the platform finds the cache; an incoming VLAN of 0 asks by source alone.
    bool platformFinds(const McastKey& key);
    // The platform's counters; false when it finds no such cache.
    bool stats(const McastKey& key, HalMcastStats& stats);
    void dump(const std::function<void(const std::string&)>& print);

    const McastCopy& copy() const { return copy_; }
    // Caches that the platform keeps in no group: the refused second one of any source lives on
    // until its incoming VLAN goes.
    size_t abandoned() const;

    std::string describe(const McastKey& key) const;
    // The VLAN that an instance is of, 0 when it is gone.
    uint16_t vlanOf(uint32_t instance) const;

    // A cache in the words of 'mcast add', each part with a blank before it but group and source.
    struct Texts {
        std::string group, source, incoming, outgoing, router;
        std::vector<std::string> empty;  // outgoing VLANs without ports, with a port that exists
    };
    // By group, source, virtual router and VLAN.
    void forEachText(const std::function<void(const McastCache&, const Texts&)>& see);

private:
    struct Effect {
        int32_t result;
        McastHooks hooks;  // what the call made and released
    };
    HalMcastRequest* request(const McastKey& key, const OutgoingList& outgoing);
    Effect run(int32_t (*HalFamilyOps::*word)(const HalMcastRequest*), const McastKey& key,
               const OutgoingList& outgoing);
    // The caches that a removal of ports by 'key' is for.
    std::vector<McastKey> meantBy(const McastKey& key) const;
    void checkRemoval(const McastKey& key, int32_t result) const;
    void noteAdded(const McastKey& key, const OutgoingList& outgoing, uint64_t count);
    size_t dropMissing(const McastKey& key, uint64_t released);
    size_t flushCopy(const McastKey& key, uint64_t released);
    void lost(const std::string& what, const McastCopy::Lost& lost);

    Context& context_;
    McastCopy copy_;
    std::map<uint32_t, size_t> abandoned_;  // by incoming VLAN instance
    std::vector<uint32_t> buffer_;          // of the request under way
};

}  // namespace pcsim::host

#endif
