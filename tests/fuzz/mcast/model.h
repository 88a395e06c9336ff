// A naive model of the multicast database: what the operations make and delete, node by node. It
// knows no way back from a node to its users but lists, and no memory but how many blocks there
// are.
#ifndef PCSIM_TESTS_FUZZ_MCAST_MODEL_H
#define PCSIM_TESTS_FUZZ_MCAST_MODEL_H

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "pcsim/mcast.h"

namespace pcsim::fuzz {

// One VLAN of a cache: its word, and its ports with theirs.
struct CacheVlan {
    uint32_t word = 0;
    std::map<uint32_t, uint32_t> ports;
};

struct Cache {
    uint32_t vr, group, source, iif;
    std::map<uint32_t, CacheVlan> vlans;
    bool inTree = false;
};

struct Outgoing {
    uint32_t vlan, port;
    uint32_t portWord, vlanWord;
};

class McastModel {
public:
    // The n-th insertion into a tree from now is refused; 0: none is.
    uint32_t refuse = 0;
    std::set<uint32_t> knownVlans;
    std::set<uint32_t> knownPorts;
    uint32_t routers = 0;
    bool hasTable = false;

    std::list<Cache> caches;                                // refused ones, too
    std::map<uint32_t, std::vector<Cache*>> vlans;          // users, oldest first
    using Vpifs = std::map<uint32_t, std::vector<Cache*>>;  // VLANs on a port, likewise
    std::map<uint32_t, Vpifs> ports;
    std::set<std::pair<uint32_t, uint32_t>> groups;  // of VR, host byte order
    size_t retired = 0;

    Cache* find(uint32_t vr, uint32_t group, uint32_t source, uint32_t iif);

    bool getGroup(uint32_t vr, uint32_t group);
    Cache* create(const HalMcastKey& key);
    int32_t addAll(Cache& cache, const std::vector<Outgoing>& entries);
    bool getVlan(uint32_t vlan);
    bool getCacheVlan(Cache& cache, uint32_t vlan);
    bool getPort(uint32_t port);
    bool getVpif(uint32_t port, uint32_t vlan);

    void removePort(Cache& cache, uint32_t vlan, uint32_t port);
    void removeVlan(Cache& cache, uint32_t vlan);
    void remove(Cache& cache);
    void removeIf(const std::function<bool(const Cache&)>& condition);
    void removeEntries(Cache& cache, const std::vector<Outgoing>& entries);
    void vlanGoes(uint32_t vlan);
    void vpifGoes(uint32_t vlan, uint32_t port);
    void portGoes(uint32_t port);
    void flushAll();
    void clear();

    size_t blocks() const;

private:
    bool inserted() { return refuse == 0 || --refuse != 0; }
    bool add(Cache& cache, const Outgoing& entry);
};

}  // namespace pcsim::fuzz

#endif
