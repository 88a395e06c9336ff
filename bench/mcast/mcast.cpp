// What the multicast database costs, and how that grows from 10,000 to 100,000 caches.
//
// Each run is a process of its own that fills the database, works on it and tears it down; the
// platform and a peer of nested std::maps with the same cross references take turns. The times are
// per cache, or for the cascades per member that they touch; medians over the rounds.
//
//   bench_mcast [rounds] [sources per group] [cold]
//
// With 'cold' the processor's caches are filled with something else before each step, as other work
// between two requests does.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "bench/machine.h"
#include "bench/mcast/steps.h"
#include "pcsim/host.h"
#include "platform/mcast/pcSimIPv4McDb.h"

// --- The host -----------------------------------------------------------------------------------

namespace {
constexpr uint32_t kVlans = 300;
constexpr uint32_t kPorts = 256;
HalVlanIf vlanRecords[kVlans];
HalPif portRecord;
}  // namespace

extern "C" {
uint32_t dmGetMaxVr(void) {
    return 3;
}

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = instance < kVlans ? &vlanRecords[instance] : nullptr;
}

void getPifBySlotPort(uint32_t, uint32_t, HalPif** record) {
    *record = &portRecord;
}
}

namespace {

// --- The data -----------------------------------------------------------------------------------

constexpr uint32_t kRouter = 2;  // the one that the dump shows
constexpr uint32_t kIncomingVlans = 32;
constexpr uint32_t kOutgoingVlans = 16;
constexpr uint32_t kFewVlan = 299;  // an outgoing VLAN of exactly kFew caches
constexpr uint32_t kFew = 100;

uint32_t sourcesPerGroup = 100;

struct Request {
    HalMcastKey key;
    uint32_t reserved[2];
    int32_t count;
    HalMcastOutgoing outgoing[64];

    const HalMcastRequest* get() const { return reinterpret_cast<const HalMcastRequest*>(this); }
};

uint32_t portKey(uint32_t number) {
    return (1 + number / 64) << 16 | (1 + number % 64);
}

void fillKey(Request& request, uint32_t i) {
    request.key = {kRouter, 100 + i % kIncomingVlans, 0,
                   __builtin_bswap32(0xE1000000 + i / sourcesPerGroup),
                   __builtin_bswap32(0x0A000001 + i % sourcesPerGroup * 7)};
    request.count = 0;
}

void addEntry(Request& request, uint32_t vlan, uint32_t port) {
    request.outgoing[request.count++] = {vlan, static_cast<uint16_t>(portKey(port)),
                                         static_cast<uint16_t>(portKey(port) >> 16), 0, 0};
}

void fill(Request& request, uint32_t i, uint32_t ports) {
    fillKey(request, i);
    for (uint32_t j = 0; j < ports; ++j)
        addEntry(request, 200 + (i + j) % kOutgoingVlans, (i * 5 + j * 29) % kPorts);
}

// --- The peers -----------------------------------------------------------------------------------

int discard(uint32_t, const char*, ...) __attribute__((noinline, format(printf, 2, 3)));
int discard(uint32_t, const char* format, ...) {
    asm volatile("" : : "r"(format) : "memory");  // a call all the same
    return 0;
}

struct Platform {
    Platform() { pcSimHalIPv4McDbInit(); }
    void add(const Request& request) { pcSimHalIpv4McHwCacheAdd(request.get()); }
    bool find(const Request& request) {
        pcsim::CacheNode* cache;
        return pcSimHalIpv4McHwCacheFind(&request.key, &cache) == 0;
    }
    void addPort(const Request& request) { pcSimHalIpv4McHwCacheOifAdd(request.get()); }
    void deletePort(const Request& request) { pcSimHalIpv4McHwCacheOifDel(request.get()); }
    void vlan(uint32_t instance) { pcSimHalIpv4McHwVlanDel(instance); }
    void port(uint32_t key) { pcSimHalIpv4McHwPifDel(key); }
    void dump() {
        const pcSimDumpSink sink{0, discard};
        dumpHalMcDb(&sink);
    }
};

// The same with maps: every cache its VLANs and ports, every VLAN and port its users.
class Maps {
public:
    void add(const Request& request) {
        const auto [at, fresh] = caches_.try_emplace(keyOf(request));
        if (fresh) {
            at->second.incoming = request.key.incomingVlan;
            at->second.key = &at->first;
            at->second.vlans[request.key.incomingVlan];
            vlans_[request.key.incomingVlan].insert(&at->second);
        }
        addEntries(at->second, request);
    }
    bool find(const Request& request) { return caches_.find(keyOf(request)) != caches_.end(); }
    void addPort(const Request& request) {
        const auto at = caches_.find(keyOf(request));
        if (at != caches_.end()) addEntries(at->second, request);
    }
    void deletePort(const Request& request) {
        const auto at = caches_.find(keyOf(request));
        if (at == caches_.end()) return;
        for (int32_t i = 0; i < request.count; ++i) {
            const HalMcastOutgoing& entry = request.outgoing[i];
            const auto vlan = at->second.vlans.find(entry.vlanInstance);
            if (vlan == at->second.vlans.end()) continue;
            const uint32_t key = static_cast<uint32_t>(entry.slot) << 16 | entry.port;
            vlan->second.erase(key);
            leavePort(key, entry.vlanInstance, &at->second);
        }
    }
    void vlan(uint32_t instance) {
        const auto at = vlans_.find(instance);
        if (at == vlans_.end()) return;
        const std::set<Cache*> users = at->second;
        for (Cache* cache : users) {
            if (cache->incoming == instance) {
                while (!cache->vlans.empty()) strip(cache, cache->vlans.begin());
                caches_.erase(*cache->key);
            } else {
                strip(cache, cache->vlans.find(instance));
            }
        }
    }
    void port(uint32_t key) {
        const auto at = ports_.find(key);
        if (at == ports_.end()) return;
        for (auto& [vlan, users] : at->second)
            for (Cache* cache : users) cache->vlans[vlan].erase(key);
        ports_.erase(at);
    }
    void dump() {
        for (auto& [key, cache] : caches_) {
            discard(0, "%u %u %u", key[1], key[2], key[3]);
            for (auto& [vlan, ports] : cache.vlans) {
                discard(0, "%u", vlan);
                for (uint32_t port : ports) discard(0, "%u", port);
            }
        }
    }

private:
    using Key = std::array<uint32_t, 4>;
    struct Cache {
        uint32_t incoming;
        const Key* key;
        std::map<uint32_t, std::set<uint32_t>> vlans;
    };
    using VlanOfCache = std::map<uint32_t, std::set<uint32_t>>::iterator;

    static Key keyOf(const Request& request) {
        return {request.key.vr, request.key.group, request.key.source, request.key.incomingVlan};
    }
    void addEntries(Cache& cache, const Request& request) {
        for (int32_t i = 0; i < request.count; ++i) {
            const HalMcastOutgoing& entry = request.outgoing[i];
            const auto [at, fresh] = cache.vlans.try_emplace(entry.vlanInstance);
            if (fresh) vlans_[entry.vlanInstance].insert(&cache);
            const uint32_t key = static_cast<uint32_t>(entry.slot) << 16 | entry.port;
            if (at->second.insert(key).second) ports_[key][entry.vlanInstance].insert(&cache);
        }
    }
    void leavePort(uint32_t key, uint32_t vlan, Cache* cache) {
        const auto port = ports_.find(key);
        if (port == ports_.end()) return;
        const auto users = port->second.find(vlan);
        if (users == port->second.end()) return;
        users->second.erase(cache);
        if (users->second.empty()) port->second.erase(users);
        if (port->second.empty()) ports_.erase(port);
    }
    void strip(Cache* cache, VlanOfCache at) {
        for (uint32_t port : at->second) leavePort(port, at->first, cache);
        const auto users = vlans_.find(at->first);
        users->second.erase(cache);
        if (users->second.empty()) vlans_.erase(users);
        cache->vlans.erase(at);
    }

    std::map<Key, Cache> caches_;
    std::map<uint32_t, std::set<Cache*>> vlans_;
    std::map<uint32_t, std::map<uint32_t, std::set<Cache*>>> ports_;
};

// --- One run -------------------------------------------------------------------------------------

// How many of the ports of all caches are on one of 'chosen' of the ports, and how many cache VLANs
// the VLAN cascade meets.
double portMembers(uint32_t caches, uint32_t ports, uint32_t below) {
    uint32_t count = 0;
    for (uint32_t i = 0; i < caches; ++i)
        for (uint32_t j = 0; j < ports; ++j) count += (i * 5 + j * 29) % kPorts < below;
    return count;
}

// Every cache is added, found in order, found in no order, and gets one more VLAN and port, which
// go away again.
template <typename Peer>
void buildUp(Peer& peer, uint32_t caches, uint32_t ports, Steps& steps) {
    Request request{};
    std::vector<uint32_t> inOrder(caches);
    std::iota(inOrder.begin(), inOrder.end(), 0);
    std::vector<uint32_t> shuffled = inOrder;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    steps.watch.restart();
    for (uint32_t i = 0; i < caches; ++i) {
        fill(request, i, ports);
        peer.add(request);
    }
    steps.done(caches);
    for (const auto* order : {&inOrder, &shuffled}) {
        uint32_t found = 0;
        steps.watch.begin();
        for (uint32_t i : *order) {
            fillKey(request, i);
            found += peer.find(request);
        }
        steps.done(caches);
        if (found != caches) std::abort();
    }
    for (bool adding : {true, false}) {
        steps.watch.begin();
        for (uint32_t i = 0; i < caches; ++i) {
            fillKey(request, i);
            addEntry(request, 250, i % kPorts);
            adding ? peer.addPort(request) : peer.deletePort(request);
        }
        steps.done(caches);
    }
}

// The dump, and the cascades that leave nothing: a VLAN that few caches have, a quarter of the
// ports, the outgoing VLANs, the incoming ones.
template <typename Peer>
void tearDown(Peer& peer, uint32_t caches, uint32_t ports, Steps& steps) {
    Request request{};
    steps.watch.begin();
    peer.dump();
    steps.done(caches);
    for (uint32_t i = 0; i < kFew; ++i) {
        fillKey(request, caches / kFew * i);
        addEntry(request, kFewVlan, i);
        peer.addPort(request);
    }
    steps.watch.begin();
    peer.vlan(kFewVlan);
    steps.done(kFew);
    const double members = portMembers(caches, ports, kPorts / 4);
    steps.watch.begin();
    for (uint32_t port = 0; port < kPorts / 4; ++port) peer.port(portKey(port));
    steps.done(members);
    steps.watch.begin();
    for (uint32_t vlan = 200; vlan < 200 + kOutgoingVlans; ++vlan) peer.vlan(vlan);
    steps.done(1.0 * caches * std::min(ports, kOutgoingVlans));
    steps.watch.begin();
    for (uint32_t i = 0; i < kIncomingVlans; ++i) peer.vlan(100 + i);
    steps.done(caches);
}

template <typename Peer>
Times run(uint32_t caches, uint32_t ports) {
    static Peer peer;
    Steps steps;
    buildUp(peer, caches, ports, steps);
    tearDown(peer, caches, ports, steps);
    return steps.times;
}

// A run in a process of its own, so that each starts with a fresh heap.
template <typename Peer>
Times runApart(uint32_t caches, uint32_t ports) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) {
        const Times times = run<Peer>(caches, ports);
        if (write(ends[1], &times, sizeof times) != sizeof times) std::abort();
        _exit(0);
    }
    Times times{};
    if (read(ends[0], &times, sizeof times) != sizeof times) std::abort();
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return times;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void measure(uint32_t ports, int rounds) {
    constexpr uint32_t kSizes[] = {10000, 100000};
    std::vector<double> platform[2][kStepCount], maps[2][kStepCount];
    for (int round = 0; round < rounds; ++round) {
        for (int size = 0; size < 2; ++size) {
            const Times ours = runApart<Platform>(kSizes[size], ports);
            const Times theirs = runApart<Maps>(kSizes[size], ports);
            for (size_t i = 0; i < kStepCount; ++i) {
                platform[size][i].push_back(ours.ns[i]);
                maps[size][i].push_back(theirs.ns[i]);
            }
        }
        std::fprintf(stderr, "%u ports: round %d of %d\n", ports, round + 1, rounds);
    }
    std::printf("\n%u outgoing ports, %u sources per group, ns each, %d rounds%s\n\n", ports,
                sourcesPerGroup, rounds, cold ? ", cold caches" : "");
    std::printf(
        "| step | 10,000 | 100,000 | growth | maps 10,000 | maps 100,000 | growth | "
        "platform / maps |\n|---|---|---|---|---|---|---|---|\n");
    for (size_t i = 0; i < kStepCount; ++i) {
        const double a = median(platform[0][i]), b = median(platform[1][i]);
        const double c = median(maps[0][i]), d = median(maps[1][i]);
        std::printf("| %s | %.0f | %.0f | %.2f | %.0f | %.0f | %.2f | %.2f |\n", kSteps[i], a, b,
                    b / a, c, d, d / c, b / d);
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    if (argc > 2) sourcesPerGroup = static_cast<uint32_t>(std::max(1, std::atoi(argv[2])));
    cold = argc > 3 && std::strcmp(argv[3], "cold") == 0;
    for (uint32_t i = 0; i < kVlans; ++i) vlanRecords[i].instance = i;
    for (uint32_t ports : {1u, 8u, 64u}) measure(ports, rounds);
    machine.tell();
    return 0;
}
