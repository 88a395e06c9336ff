// The multicast database against a naive model of its nodes.
//
// The sources read the same from both ends, so that a look-up by source alone can't miss; which of
// several caches of a source it then finds is the tree's affair, and taken from there.
#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "platform/mcast/database.h"
#include "tests/fuzz/mcast/check.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/exact.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"
#include "tests/fuzz/support/life.h"
#include "tests/support/tree.h"

namespace {

using namespace pcsim::fuzz;
using pcsim::CacheNode;

constexpr int kMaxOperations = 64;
constexpr uint32_t kVlans = 4;
constexpr uint32_t kPorts = 3;
constexpr uint32_t kRouters[] = {0, 2, 2, 0};
// Two groups share a bucket.
constexpr uint32_t kGroups[] = {0xE1000001, 0xE1000201, 0xE2000005, 0};
constexpr uint32_t kSources[] = {0x0A01010A, 0xFA0101FA, 0};

HalVlanIf vlanIfs[kVlans];
HalPif pifs[kPorts];

class Mcast {
public:
    explicit Mcast(Input& input) : input_(input) {
        for (uint32_t i = 0; i < kVlans; ++i) {
            vlanIfs[i].instance = 10 + i;
            if (i != kVlans - 1) makeVlanKnown(i);
        }
        for (uint32_t i = 0; i < kPorts; ++i) {
            pifs[i].slot = 1;
            pifs[i].port = static_cast<uint16_t>(i + 1);
            if (i == kPorts - 1) continue;
            host().pifs.push_back(&pifs[i]);
            model_.knownPorts.insert(0x10000 | (i + 1));
        }
        setUp(false);
    }

    void run() {
        for (int i = 0; i < kMaxOperations && !input_.ended(); ++i) {
            const uint8_t how = input_.byte();
            // One operation in four meets a tree that refuses a node.
            if (how >= 192) model_.refuse = pcsim::test::tree().refuseInsert = 1 + (how >> 3) % 8;
            step(how % 16);
            FUZZ_SAME(model_.refuse, pcsim::test::tree().refuseInsert);
            model_.refuse = pcsim::test::tree().refuseInsert = 0;
            checkMcast(model_);
        }
    }

    void end() {
        FUZZ_SAME(pcSimHalIpv4McHwFlushAll(), 0);
        model_.flushAll();
        checkMcast(model_);
        setUp(false);
        checkMcast(model_);
        FUZZ_SAME(liveBlocks(), 1 + model_.retired);
    }

private:
    using Request = Exact<HalMcastRequest>;

    void makeVlanKnown(uint32_t index) {
        host().vlanIfs.push_back(&vlanIfs[index]);
        model_.knownVlans.insert(vlanIfs[index].instance);
    }

    uint32_t vlan() { return 10 + input_.below(kVlans); }
    uint32_t port() { return 0x10001 + input_.below(kPorts); }
    void setUp(bool mayFail);
    Request request(std::vector<Outgoing>& entries);
    Cache* lookUp(const HalMcastKey& key);
    void add();
    void addOutgoing();
    void removeOutgoing();
    void flush();
    void removeCache();
    void goes();
    void makeNodes();
    void ask();
    void step(uint32_t operation);
    std::set<std::pair<uint32_t, uint32_t>> flushedBySource(const HalMcastKey& key);

    Input& input_;
    McastModel model_;
};

void Mcast::setUp(bool mayFail) {
    host().maxVr = mayFail ? 1 + input_.below(4) : 3;
    const bool fails = mayFail && input_.below(4) == 3;
    library().failAllocation = fails ? 1 : 0;
    FUZZ_SAME(pcSimHalIPv4McDbInit(), fails ? 0 : 1);
    if (fails) return;
    model_.clear();
    model_.hasTable = true;
    model_.routers = host().maxVr;
}

Mcast::Request Mcast::request(std::vector<Outgoing>& entries) {
    const uint8_t shape = input_.byte();
    const uint32_t count = shape & 3;
    Request made(sizeof(HalMcastRequest) + count * sizeof(HalMcastOutgoing));
    HalMcastKey& key = made->key;
    const uint8_t which = input_.byte();
    key.vr = kRouters[which & 3];
    key.group = htonl(kGroups[(which >> 2) & 3]);
    key.source = htonl(kSources[(which >> 4) % 3]);
    const uint32_t incoming = input_.below(8);
    key.incomingVlan = incoming < 6 ? 10 + incoming % kVlans : 0;
    made->outgoingCount = count != 0 || (shape & 4) == 0 ? static_cast<int32_t>(count) : -1;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t target = input_.byte();
        const Outgoing entry{.vlan = target % 16 == 15 ? 0 : 10 + target % kVlans,
                             .port = target / 16 == 15 ? 0 : 0x10001 + (target / 16) % kPorts,
                             .portWord = input_.byte() * 0x00101010u,
                             .vlanWord = target * 7u};
        entries.push_back(entry);
        made->outgoing[i] = {entry.vlan, static_cast<uint16_t>(entry.port),
                             static_cast<uint16_t>(entry.port >> 16), entry.portWord,
                             entry.vlanWord};
    }
    return made;
}

// The cache that a request is about; by source alone the tree says which of the candidates.
Cache* Mcast::lookUp(const HalMcastKey& key) {
    if (key.source == 0) return nullptr;
    if (key.incomingVlan != 0) return model_.find(key.vr, key.group, key.source, key.incomingVlan);
    bool any = false;
    for (const Cache& cache : model_.caches)
        any = any || (cache.inTree && cache.vr == key.vr && cache.group == key.group &&
                      cache.source == key.source);
    CacheNode* node = nullptr;
    FUZZ_SAME(pcSimHalIpv4McHwCacheFind(&key, &node), any ? 0 : -1);
    FUZZ_SAME(node != nullptr, any);
    if (node == nullptr) return nullptr;
    FUZZ_SAME(node->source, key.source);
    return model_.find(key.vr, key.group, key.source, node->incomingVlan);
}

void Mcast::add() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    Cache* cache = lookUp(made->key);
    int32_t expected = -1;
    if (model_.getGroup(made->key.vr, made->key.group)) {
        if (cache == nullptr) cache = model_.create(made->key);
        if (cache != nullptr) expected = model_.addAll(*cache, entries);
    }
    FUZZ_SAME(pcSimHalIpv4McHwCacheAdd(made), expected);
}

void Mcast::addOutgoing() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    Cache* const cache = lookUp(made->key);
    const int32_t expected = cache != nullptr ? model_.addAll(*cache, entries) : -1;
    FUZZ_SAME(pcSimHalIpv4McHwCacheOifPortAdd(made), expected);
}

void Mcast::removeOutgoing() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    const HalMcastKey& key = made->key;
    int32_t expected = 0;
    if (key.source == 0 && key.group == 0 && key.incomingVlan == 0) {
        for (const Outgoing& entry : entries) {
            if (entry.vlan == 0)
                model_.portGoes(entry.port);
            else if (entry.port != 0)
                model_.vpifGoes(entry.vlan, entry.port);
            else
                model_.vlanGoes(entry.vlan);
        }
    } else if (key.source != 0) {
        Cache* const cache = key.incomingVlan != 0 ? lookUp(key) : nullptr;
        expected = cache != nullptr ? 0 : -1;
        if (cache != nullptr) model_.removeEntries(*cache, entries);
    } else {
        for (Cache& cache : model_.caches)
            if (cache.inTree && cache.vr == key.vr && cache.group == key.group &&
                (key.incomingVlan == 0 || cache.iif == key.incomingVlan))
                model_.removeEntries(cache, entries);
    }
    FUZZ_SAME(pcSimHalIpv4McHwCacheOifPortDel(made), expected);
}

// Those that the flush by source and group takes: from the first node below the entry found to the
// end of the group's caches.
std::set<std::pair<uint32_t, uint32_t>> Mcast::flushedBySource(const HalMcastKey& key) {
    std::set<std::pair<uint32_t, uint32_t>> keys;
    CacheNode* node = nullptr;
    static_cast<void>(pcSimHalIpv4McHwCacheFind(&key, &node));
    if (node == nullptr) return keys;
    HalTreeRoot entry = &node->tree;
    for (node = pcsim::firstOf<CacheNode>(&entry); node != nullptr; node = pcsim::nextOf(node))
        keys.insert({node->source, node->incomingVlan});
    return keys;
}

void Mcast::flush() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    const HalMcastKey& key = made->key;
    const bool source = key.source != 0;
    const bool incoming = key.incomingVlan != 0;
    const auto inGroup = [&](const Cache& cache) {
        return cache.inTree && cache.vr == key.vr && cache.group == key.group;
    };
    int32_t expected = 0;
    if (key.group == 0 && source) {
        expected = -1;
    } else if (key.group == 0) {
        incoming ? model_.vlanGoes(key.incomingVlan) : model_.flushAll();
    } else if (source && !incoming) {
        const auto keys = flushedBySource(key);
        model_.removeIf([&](const Cache& cache) {
            return inGroup(cache) && keys.contains({cache.source, cache.iif});
        });
    } else if (incoming) {
        model_.removeIf([&](const Cache& cache) {
            return inGroup(cache) && cache.iif == key.incomingVlan &&
                   (!source || cache.source == key.source);
        });
    }
    FUZZ_SAME(pcSimHalIpv4McHwCacheFlush(made), expected);
}

void Mcast::removeCache() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    const HalMcastKey& key = made->key;
    const bool whole = key.source != 0 && key.group != 0 && key.incomingVlan != 0;
    Cache* const cache = whole ? lookUp(key) : nullptr;
    if (cache != nullptr) model_.remove(*cache);
    FUZZ_SAME(pcSimHalIpv4McHwCacheDel(made), whole ? 0 : -1);
}

void Mcast::goes() {
    const uint32_t instance = vlan();
    const uint32_t key = port();
    switch (input_.below(4)) {
        case 0:
            model_.vlanGoes(instance);
            FUZZ_SAME(pcSimHalIpv4McHwVlanDel(instance), 0);
            break;
        case 1:
            model_.vpifGoes(instance, key);
            FUZZ_SAME(pcSimHalIpv4McHwVpifDel(instance, key), 0);
            break;
        case 2:
            model_.portGoes(key);
            FUZZ_SAME(pcSimHalIpv4McHwPifDel(key), 0);
            break;
        default:
            // The host makes a record for the VLAN that it has had none for.
            if (!model_.knownVlans.contains(10 + kVlans - 1)) makeVlanKnown(kVlans - 1);
            break;
    }
}

// Nodes that nothing uses yet, as a host may have them made.
void Mcast::makeNodes() {
    const uint32_t instance = vlan();
    const uint32_t key = port();
    if (input_.flag()) {
        const bool made = model_.getVlan(instance);
        FUZZ_SAME(pcSimGetVlanNode(instance) != nullptr, made);
        return;
    }
    const bool hasPort = model_.getPort(key);
    pcsim::PortNode* const node = pcSimGetPortNode(key);
    FUZZ_SAME(node != nullptr, hasPort);
    if (node == nullptr || input_.flag()) return;
    const bool hasVpif = model_.getVpif(key, instance);
    FUZZ_SAME(pcSimGetVpifNode(node, instance) != nullptr, hasVpif);
}

void Mcast::ask() {
    std::vector<Outgoing> entries;
    const Request made = request(entries);
    const Cache* const cache = lookUp(made->key);
    const Exact<HalMcastStats> stats;
    stats->key = made->key;
    for (int i = 0; i < 2; ++i) stats->first[i] = stats->second[i] = 0x5A5A5A5A;
    FUZZ_SAME(pcSimHalIpv4McHwCacheGetStats(stats.get()), cache != nullptr ? 0 : -1);
    for (int i = 0; i < 2; ++i) {
        FUZZ_SAME(stats->first[i], cache != nullptr ? 0 : 0x5A5A5A5Au);
        FUZZ_SAME(stats->second[i], cache != nullptr ? 0 : 0x5A5A5A5Au);
    }
    std::string text;
    const pcSimDumpSink sink = sinkTo(text);
    FUZZ_SAME(dumpHalMcDb(&sink), 0);
    FUZZ_CHECK(!text.empty());
}

void Mcast::step(uint32_t operation) {
    if (operation < 6) return add();
    if (operation < 8) return addOutgoing();
    if (operation == 8) return removeCache();
    if (operation == 9) return flush();
    if (operation < 12) return removeOutgoing();
    if (operation == 12) return goes();
    if (operation == 13) return makeNodes();
    if (operation == 14) return ask();
    if (input_.below(8) == 0) return setUp(true);
    mcLogMess ^= 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return live<Mcast>(bytes, size);
}
