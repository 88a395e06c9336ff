// Long random runs against a naive model: a vector of caches, searched from end to end.
//
// The sources read the same from both ends (a.b.b.a), so that a look-up by source alone can't miss;
// which of several caches of a source it then finds is the tree's affair, and taken from there.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "tests/platform/mcast/fixture.h"
#include "tests/support/seed.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

struct ModelCache {
    uint32_t vr, group, source, iif;
    std::map<uint32_t, std::set<uint32_t>> vlans;
    bool inTree = true;
};

struct Entry {
    uint32_t vlan;
    uint32_t port;
};

class McastModel : public Mcast {
protected:
    std::vector<ModelCache> model;
    std::mt19937 random;
    int inits = 0, releases = 0;

    uint32_t pick(uint32_t count) { return random() % count; }

    static bool vlanKnown(uint32_t vlan) { return vlan >= 10 && vlan < 20; }
    static bool portKnown(uint32_t port) {
        return port >> 16 >= 1 && port >> 16 <= 3 && (port & 0xFFFF) >= 1 && (port & 0xFFFF) <= 4;
    }

    ModelCache* find(uint32_t vr, uint32_t group, uint32_t source, uint32_t iif) {
        for (ModelCache& cache : model)
            if (cache.inTree && cache.vr == vr && cache.group == group && cache.source == source &&
                cache.iif == iif)
                return &cache;
        return nullptr;
    }

    // The cache that a request is about; by source alone the tree says which of the candidates.
    ModelCache* lookUp(const HalMcastKey& key) {
        if (key.source == 0) return nullptr;
        if (key.incomingVlan != 0) return find(key.vr, key.group, key.source, key.incomingVlan);
        const bool any = std::any_of(model.begin(), model.end(), [&](const ModelCache& cache) {
            return cache.inTree && cache.vr == key.vr && cache.group == key.group &&
                   cache.source == key.source;
        });
        CacheNode* node = nullptr;
        EXPECT_EQ(pcSimHalIpv4McHwCacheFind(&key, &node), any ? 0 : -1);
        if (node == nullptr) return nullptr;
        EXPECT_EQ(node->source, key.source);
        return find(key.vr, key.group, key.source, node->incomingVlan);
    }

    static bool addEntries(ModelCache& cache, const std::vector<Entry>& entries) {
        for (const Entry& entry : entries) {
            if (!vlanKnown(entry.vlan)) return false;
            auto& ports = cache.vlans[entry.vlan];
            if (ports.count(entry.port) != 0) continue;
            if (!portKnown(entry.port)) return false;
            ports.insert(entry.port);
        }
        return true;
    }

    int32_t add(const HalMcastKey& key, const std::vector<Entry>& entries) {
        ModelCache* cache = lookUp(key);
        if (cache == nullptr) {
            ++inits;
            ModelCache fresh{key.vr, key.group, key.source, key.incomingVlan, {}};
            if (vlanKnown(key.incomingVlan)) fresh.vlans[key.incomingVlan];
            fresh.inTree = find(key.vr, key.group, key.source, key.incomingVlan) == nullptr;
            model.push_back(fresh);
            cache = &model.back();
            if (!cache->inTree) return -1;
        }
        return addEntries(*cache, entries) ? 0 : -1;
    }

    template <typename Condition>
    void removeCaches(Condition condition) {
        const size_t before = model.size();
        model.erase(std::remove_if(model.begin(), model.end(), condition), model.end());
        releases += static_cast<int>(before - model.size());
    }

    void removeVlan(uint32_t vlan) {
        // A cache that was refused and never had an interface is reached by nothing.
        removeCaches([&](const ModelCache& cache) {
            return cache.iif == vlan && cache.vlans.count(vlan) != 0;
        });
        for (ModelCache& cache : model) cache.vlans.erase(vlan);
    }

    void removePort(uint32_t port, uint32_t onlyVlan) {
        for (ModelCache& cache : model)
            for (auto& [vlan, ports] : cache.vlans)
                if (onlyVlan == 0 || vlan == onlyVlan) ports.erase(port);
    }

    void removeEntries(ModelCache& cache, const std::vector<Entry>& entries) {
        for (const Entry& entry : entries) {
            std::vector<uint32_t> chosen;
            for (const auto& [vlan, ports] : cache.vlans)
                if (entry.vlan != 0 ? vlan == entry.vlan : vlan != cache.iif)
                    chosen.push_back(vlan);
            for (uint32_t vlan : chosen)
                if (entry.port == 0)
                    cache.vlans.erase(vlan);
                else
                    cache.vlans[vlan].erase(entry.port);
        }
    }

    int32_t removeOutgoing(const HalMcastKey& key, const std::vector<Entry>& entries) {
        if (key.source == 0 && key.group == 0 && key.incomingVlan == 0) {
            for (const Entry& entry : entries) {
                if (entry.vlan == 0)
                    removePort(entry.port, 0);
                else if (entry.port != 0)
                    removePort(entry.port, entry.vlan);
                else
                    removeVlan(entry.vlan);
            }
            return 0;
        }
        if (key.source != 0) {
            ModelCache* cache = key.incomingVlan != 0 ? lookUp(key) : nullptr;
            if (cache == nullptr) return -1;
            removeEntries(*cache, entries);
            return 0;
        }
        for (ModelCache& cache : model)
            if (cache.inTree && cache.vr == key.vr && cache.group == key.group &&
                (key.incomingVlan == 0 || cache.iif == key.incomingVlan))
                removeEntries(cache, entries);
        return 0;
    }

    // Those that the flush by source and group takes: from the first node below the entry found to
    // the end of the group's caches.
    std::set<std::pair<uint32_t, uint32_t>> flushedBySource(const HalMcastKey& key) {
        std::set<std::pair<uint32_t, uint32_t>> keys;
        CacheNode* node = nullptr;
        pcSimHalIpv4McHwCacheFind(&key, &node);
        if (node == nullptr) return keys;
        HalTreeRoot entry = &node->tree;
        for (node = firstOf<CacheNode>(&entry); node != nullptr; node = nextOf(node))
            keys.insert({node->source, node->incomingVlan});
        return keys;
    }

    int32_t flush(const HalMcastKey& key) {
        if (key.group == 0) {
            if (key.source != 0) return -1;
            if (key.incomingVlan != 0)
                removeVlan(key.incomingVlan);
            else
                for (uint32_t vlan = 10; vlan < 20; ++vlan) removeVlan(vlan);
            return 0;
        }
        const auto inGroup = [&](const ModelCache& cache) {
            return cache.inTree && cache.vr == key.vr && cache.group == key.group;
        };
        if (key.source == 0 && key.incomingVlan == 0) return 0;
        if (key.source != 0 && key.incomingVlan == 0) {
            const auto keys = flushedBySource(key);
            removeCaches([&](const ModelCache& cache) {
                return inGroup(cache) && keys.count({cache.source, cache.iif}) != 0;
            });
            return 0;
        }
        removeCaches([&](const ModelCache& cache) {
            return inGroup(cache) && cache.iif == key.incomingVlan &&
                   (key.source == 0 || cache.source == key.source);
        });
        return 0;
    }

    std::string text(const ModelCache& cache) {
        std::string result = hmc_ntoa(cache.group);
        result += std::string(" ") + hmc_ntoa(cache.source) + " " + std::to_string(cache.iif) + ":";
        for (const auto& [vlan, ports] : cache.vlans) {
            result += " " + std::to_string(vlan) + "[";
            for (uint32_t port : ports)
                result += (result.back() == '[' ? "" : " ") + std::to_string(port >> 16) + ":" +
                          std::to_string(port & 0xFFFF);
            result += "]";
        }
        return result;
    }

    void compare() {
        for (uint32_t vr = 0; vr < host().maxVr; ++vr) {
            Lines expected;
            for (const ModelCache& cache : model)
                if (cache.inTree && cache.vr == vr) expected.push_back(text(cache));
            std::sort(expected.begin(), expected.end());
            Lines real = caches(vr);
            real.erase(std::remove_if(real.begin(), real.end(),
                                      [](const std::string& line) { return line.back() == '-'; }),
                       real.end());
            std::sort(real.begin(), real.end());
            ASSERT_EQ(real, expected);
        }
        std::map<uint32_t, int> users;
        std::map<std::string, int> onPorts;
        for (const ModelCache& cache : model)
            for (const auto& [vlan, ports] : cache.vlans) {
                ++users[vlan];
                for (uint32_t port : ports)
                    ++onPorts[std::to_string(port) + "/" + std::to_string(vlan)];
            }
        std::map<uint32_t, int> realUsers;
        for (auto* vlan = firstOf<VlanNode>(&vlanTree); vlan; vlan = nextOf(vlan))
            for (ListLink* link = vlan->users.next; link != &vlan->users; link = link->next)
                ++realUsers[vlan->vlanInstance];
        ASSERT_EQ(realUsers, users);
        std::map<std::string, int> realOnPorts;
        for (auto* port = firstOf<PortNode>(&portTree); port; port = nextOf(port))
            for (auto* vpif = firstOf<VpifNode>(&port->vpifs); vpif; vpif = nextOf(vpif))
                for (ListLink* link = vpif->cachePorts.next; link != &vpif->cachePorts;
                     link = link->next)
                    ++realOnPorts[std::to_string(port->portKey) + "/" +
                                  std::to_string(vpif->vlanInstance)];
        ASSERT_EQ(realOnPorts, onPorts);
        ASSERT_EQ(hookCalls("init"), inits);
        ASSERT_EQ(hookCalls("release"), releases);
    }

    void step() {
        static const char* const kGroups[] = {"225.0.0.1", "225.0.2.1", "226.0.0.1", "225.0.0.2"};
        static const char* const kSources[] = {"10.1.1.10", "10.2.2.10", "11.1.1.11", "250.1.1.250",
                                               "1.250.250.1"};
        const auto anyVlan = [&] { return 9 + pick(12); };  // 9 and 20 are unknown
        const auto anyPort = [&] { return (1 + pick(4)) << 16 | (1 + pick(4)); };
        Request request(pick(2) * 2, pick(12) == 0 ? 0 : ip(kGroups[pick(4)]),
                        pick(6) == 0 ? 0 : ip(kSources[pick(5)]), pick(5) == 0 ? 0 : anyVlan());
        const HalMcastKey key = *request.key();
        std::vector<Entry> entries;
        for (uint32_t i = pick(5); i > 0; --i) {
            Entry entry{anyVlan(), anyPort()};
            if (pick(8) == 0) entry.vlan = 0;
            if (pick(8) == 0) entry.port = 0;
            entries.push_back(entry);
            request.to(entry.vlan, static_cast<uint16_t>(entry.port >> 16),
                       static_cast<uint16_t>(entry.port));
        }
        const uint32_t vlan = anyVlan(), port = anyPort();
        const uint32_t operation = pick(100);
        if (operation < 50) {
            const int32_t expected = add(key, entries);
            ASSERT_EQ(pcSimHalIpv4McHwCacheAdd(request), expected);
        } else if (operation < 62) {
            ModelCache* cache = lookUp(key);
            const int32_t expected = cache != nullptr && addEntries(*cache, entries) ? 0 : -1;
            ASSERT_EQ(pcSimHalIpv4McHwCacheOifAdd(request), expected);
        } else if (operation < 76) {
            const int32_t expected = removeOutgoing(key, entries);
            ASSERT_EQ(pcSimHalIpv4McHwCacheOifDel(request), expected);
        } else if (operation < 84) {
            const bool whole = key.source != 0 && key.group != 0 && key.incomingVlan != 0;
            if (whole) flush(key);
            ASSERT_EQ(pcSimHalIpv4McHwCacheDel(request), whole ? 0 : -1);
        } else if (operation < 90) {
            const int32_t expected = flush(key);
            ASSERT_EQ(pcSimHalIpv4McHwCacheFlush(request), expected);
        } else if (operation < 92) {
            removeVlan(vlan);
            ASSERT_EQ(pcSimHalIpv4McHwVlanDel(vlan), 0);
        } else if (operation < 96) {
            removePort(port, vlan);
            ASSERT_EQ(pcSimHalIpv4McHwVpifDel(vlan, port), 0);
        } else {
            removePort(port, 0);
            ASSERT_EQ(pcSimHalIpv4McHwPifDel(port), 0);
        }
    }
};

TEST_F(McastModel, RandomOperationsMatchANaiveModel) {
    const uint32_t seed = modelSeed();
    random.seed(seed);
    for (int i = 0; i < 20000 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
        step();
        if (i % 8 == 0) compare();
    }
    compare();
}

}  // namespace
