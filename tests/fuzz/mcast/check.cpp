// Every tree in its order, every list in its order, every pointer back.
#include "tests/fuzz/mcast/check.h"

#include <arpa/inet.h>

#include <algorithm>

#include "platform/mcast/database.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"

namespace pcsim::fuzz {
namespace {

// Where the library keeps what the model has.
struct Places {
    std::map<const CacheNode*, const Cache*> caches;
};

VlanNode* vlanNodeOf(uint32_t vlan) {
    return findBy<VlanNode, &VlanNode::vlanInstance>(ownVlanTree, vlan);
}

void checkPort(const CachePort& port, const CacheIf& cacheIf, uint32_t key, uint32_t word) {
    FUZZ_CHECK(isLive(&port));
    FUZZ_SAME(port.portKey, key);
    FUZZ_SAME(port.word, word);
    FUZZ_CHECK(port.cacheIf == &cacheIf && isLive(port.vpif));
    FUZZ_CHECK(port.vpif->vlan == cacheIf.vlan);
    FUZZ_SAME(port.vpif->vlanInstance, cacheIf.vlanInstance);
    FUZZ_SAME(port.vpif->port->portKey, key);
    FUZZ_CHECK(port.link.next->previous == &port.link && port.link.previous->next == &port.link);
}

void checkVlan(CacheIf& cacheIf, const CacheNode& node, uint32_t vlan, const CacheVlan& expected) {
    FUZZ_CHECK(isLive(&cacheIf) && isLive(cacheIf.vlan));
    FUZZ_SAME(cacheIf.vlanInstance, vlan);
    FUZZ_SAME(cacheIf.word, expected.word);
    FUZZ_CHECK(cacheIf.cache == &node && cacheIf.vlan == vlanNodeOf(vlan));
    CachePort* port = firstOf<CachePort>(&cacheIf.ports);
    for (const auto& [key, word] : expected.ports) {
        FUZZ_CHECK(port != nullptr);
        checkPort(*port, cacheIf, key, word);
        port = nextOf(port);
    }
    FUZZ_CHECK(port == nullptr);
}

void checkCache(CacheNode& node, const Cache& cache) {
    FUZZ_CHECK(isLive(&node));
    FUZZ_SAME(node.source, cache.source);
    FUZZ_SAME(node.group, cache.group);
    FUZZ_SAME(node.incomingVlan, cache.iif);
    FUZZ_SAME(node.virtualRouter, 0u);
    for (int i = 0; i < 2; ++i) FUZZ_SAME(node.statsFirst[i] | node.statsSecond[i], 0u);
    CacheIf* cacheIf = firstOf<CacheIf>(&node.vlans);
    for (const auto& [vlan, expected] : cache.vlans) {
        FUZZ_CHECK(cacheIf != nullptr);
        checkVlan(*cacheIf, node, vlan, expected);
        cacheIf = nextOf(cacheIf);
    }
    FUZZ_CHECK(cacheIf == nullptr);
}

void checkGroup(GroupNode& group, const McastModel& model, uint32_t vr, Places& places) {
    std::vector<const Cache*> expected;
    for (const Cache& cache : model.caches)
        if (cache.inTree && cache.vr == vr && cache.group == group.group)
            expected.push_back(&cache);
    std::sort(expected.begin(), expected.end(), [](const Cache* a, const Cache* b) {
        return std::pair(a->source, a->iif) < std::pair(b->source, b->iif);
    });
    CacheNode* node = firstOf<CacheNode>(&group.caches);
    for (const Cache* cache : expected) {
        FUZZ_CHECK(node != nullptr && node->groupNode == &group);
        checkCache(*node, *cache);
        places.caches[node] = cache;
        node = nextOf(node);
    }
    FUZZ_CHECK(node == nullptr);
}

// Groups by router, bucket and address.
void checkGroups(const McastModel& model, Places& places) {
    size_t count = 0;
    std::set<HalTreeRoot*> roots;
    for (const auto& [vr, group] : model.groups) roots.insert(bucketRoot(vr, group & 511));
    for (HalTreeRoot* root : roots) {
        const auto place = static_cast<uint32_t>(root - ownGroupTable);
        for (auto* group = firstOf<GroupNode>(root); group != nullptr; group = nextOf(group)) {
            ++count;
            const uint32_t vr = place / kBucketsPerRouter;
            FUZZ_CHECK(isLive(group) && model.groups.contains({vr, ntohl(group->group)}));
            FUZZ_SAME(bucketOf(group->group), place % kBucketsPerRouter);
            checkGroup(*group, model, vr, places);
            const GroupNode* const next = nextOf(group);
            if (next != nullptr) FUZZ_CHECK(ntohl(group->group) < ntohl(next->group));
        }
    }
    FUZZ_SAME(count, model.groups.size());
}

// A cache that is in no tree is found through its incoming VLAN alone.
void checkUser(const CacheIf& cacheIf, const Cache& cache, const Places& places) {
    CacheNode& node = *cacheIf.cache;
    if (cache.inTree) {
        const auto place = places.caches.find(&node);
        FUZZ_CHECK(place != places.caches.end() && place->second == &cache);
        return;
    }
    FUZZ_CHECK(node.groupNode == nullptr);
    checkCache(node, cache);
}

void checkVlans(const McastModel& model, const Places& places) {
    auto* vlan = firstOf<VlanNode>(&ownVlanTree);
    for (const auto& [instance, users] : model.vlans) {
        FUZZ_CHECK(vlan != nullptr && isLive(vlan));
        FUZZ_SAME(vlan->vlanInstance, instance);
        FUZZ_SAME(vlan->vlanIf->instance, instance);
        const ListLink* at = &vlan->users;
        for (const Cache* cache : users) {
            ListLink* const link = at->next;
            FUZZ_CHECK(link != &vlan->users && link->previous == at);
            const CacheIf& cacheIf = *memberOf<CacheIf>(link);
            FUZZ_CHECK(cacheIf.vlan == vlan);
            checkUser(cacheIf, *cache, places);
            at = link;
        }
        FUZZ_CHECK(at->next == &vlan->users && vlan->users.previous == at);
        vlan = nextOf(vlan);
    }
    FUZZ_CHECK(vlan == nullptr);
}

void checkVpif(VpifNode& vpif, const PortNode& port, const std::vector<Cache*>& users,
               const Places& places) {
    FUZZ_CHECK(isLive(&vpif) && vpif.port == &port);
    if (!users.empty()) FUZZ_CHECK(vpif.vlan == vlanNodeOf(vpif.vlanInstance));
    const ListLink* at = &vpif.cachePorts;
    for (const Cache* cache : users) {
        ListLink* const link = at->next;
        FUZZ_CHECK(link != &vpif.cachePorts && link->previous == at);
        const CachePort& cachePort = *memberOf<CachePort>(link);
        FUZZ_CHECK(cachePort.vpif == &vpif);
        FUZZ_SAME(cachePort.portKey, port.portKey);
        FUZZ_CHECK(places.caches.at(cachePort.cacheIf->cache) == cache);
        at = link;
    }
    FUZZ_CHECK(at->next == &vpif.cachePorts && vpif.cachePorts.previous == at);
}

void checkPorts(const McastModel& model, const Places& places) {
    auto* port = firstOf<PortNode>(&ownPortTree);
    for (const auto& [key, vpifs] : model.ports) {
        FUZZ_CHECK(port != nullptr && isLive(port));
        FUZZ_SAME(port->portKey, key);
        FUZZ_SAME(uint32_t{port->pif->slot} << 16 | port->pif->port, key);
        auto* vpif = firstOf<VpifNode>(&port->vpifs);
        for (const auto& [vlan, users] : vpifs) {
            FUZZ_CHECK(vpif != nullptr);
            FUZZ_SAME(vpif->vlanInstance, vlan);
            checkVpif(*vpif, *port, users, places);
            vpif = nextOf(vpif);
        }
        FUZZ_CHECK(vpif == nullptr);
        port = nextOf(port);
    }
    FUZZ_CHECK(port == nullptr);
}

}  // namespace

void checkMcast(const McastModel& model) {
    Places places;
    checkGroups(model, places);
    checkVlans(model, places);
    checkPorts(model, places);
    FUZZ_SAME(liveBlocks(), model.blocks());
}

}  // namespace pcsim::fuzz
