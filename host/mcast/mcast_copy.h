// The host's own copy of the multicast caches: what a HAL believes the platform holds.
//
// The platform can't be asked for the ports of a cache, so the copy repeats what the platform does
// to its database: a cache has its incoming VLAN and its outgoing ones, each with ports; a VLAN
// that goes takes the caches that arrive on it along and is stripped from the others; a VLAN stays
// in a cache when its last port goes. Two indexes keep a cascade as cheap as what it removes: the
// caches of each VLAN, and how many of them use each VLAN on a port.
#ifndef PCSIM_HOST_MCAST_MCAST_COPY_H
#define PCSIM_HOST_MCAST_MCAST_COPY_H

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace pcsim::host {

// Addresses are in host byte order here, so that they sort as people read them.
struct McastKey {
    uint32_t group = 0;
    uint32_t source = 0;  // 0: any
    uint32_t vr = 0;
    uint32_t incomingVlan = 0;  // instance

    auto operator<=>(const McastKey&) const = default;
};

// Slot in the high 16 bits, port in the low ones.
constexpr uint32_t portKey(uint32_t slot, uint32_t port) {
    return slot << 16 | port;
}

struct McastOutgoing {
    uint32_t vlanInstance = 0;
    uint32_t port = 0;  // port key
};

using McastPorts = std::vector<uint32_t>;  // port keys, ascending

struct McastCache {
    McastKey key;
    std::map<uint32_t, McastPorts> vlans;  // by instance
};

// "1:1-4,2:7"
std::string mcastPortsText(const McastPorts& ports);

class McastCopy {
public:
    using Caches = std::map<McastKey, McastCache>;

    const Caches& caches() const { return caches_; }
    size_t portCount() const { return portCount_; }
    const McastCache* find(const McastKey& key) const;
    // The caches of a group on a virtual router.
    std::vector<McastKey> keysOf(uint32_t group, uint32_t vr) const;

    // A cache with its incoming VLAN and no ports; the one that is there already stays.
    void add(const McastKey& key);
    void remove(const McastKey& key);
    // False when the port was there already.
    bool addPort(const McastKey& key, const McastOutgoing& outgoing);
    // False when it was not there.
    bool removePort(const McastKey& key, const McastOutgoing& outgoing);
    // An outgoing VLAN with its ports. False when it was not there.
    bool removeVlan(const McastKey& key, uint32_t vlanInstance);

    struct Lost {
        size_t caches = 0;    // deleted
        size_t stripped = 0;  // lost a VLAN or ports but stay
        size_t ports = 0;     // of both

        bool any() const { return caches != 0 || stripped != 0; }
    };
    Lost dropVlan(uint32_t vlanInstance);
    Lost dropMember(uint32_t vlanInstance, uint32_t port);
    Lost dropSlot(uint32_t slot);
    Lost dropAll();

private:
    using Users = std::unordered_set<McastCache*>;

    size_t portsOf(const McastCache& cache) const;
    void removePorts(McastCache& cache, std::map<uint32_t, McastPorts>::iterator vlan);
    void unuse(uint32_t vlanInstance, uint32_t port);
    void forgetUser(uint32_t vlanInstance, McastCache* cache);

    Caches caches_;
    size_t portCount_ = 0;
    std::unordered_map<uint32_t, Users> users_;                 // by VLAN instance
    std::map<uint32_t, std::map<uint32_t, uint32_t>> portUse_;  // port -> VLAN instance -> caches
};

}  // namespace pcsim::host

#endif
