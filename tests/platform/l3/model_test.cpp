// Random operations on the three tables against a naive model of them.
//
// The model keeps routes in a std::map in table order and adjacencies in another. After every
// operation the route and the adjacencies that it has touched are compared with the model, every so
// often everything is; in the end all is removed and nothing may be left. The universe of keys is
// small, so that routes, next hops and adjacencies meet all the time.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "tests/platform/l3/support.h"
#include "tests/support/seed.h"

namespace {

using namespace pcsim::test;

#ifdef __SANITIZE_ADDRESS__
constexpr uint32_t kOperations = 60'000;
#else
constexpr uint32_t kOperations = 1'000'000;
#endif

constexpr uint32_t kVrs[] = {0, 1, 256};
constexpr int32_t kMaxSlots = 6;

class Random {
public:
    uint32_t below(uint32_t limit) {
        return static_cast<uint32_t>(uint64_t{engine_() & 0xFFFFFFFFu} * limit >> 32);
    }
    template <typename T, size_t N>
    const T& oneOf(const T (&list)[N]) {
        return list[below(N)];
    }

private:
    std::mt19937 engine_{modelSeed()};
};

template <typename Gateway>
struct ModelHop {
    Gateway gateway;
    uint32_t vlan;
    bool operator==(const ModelHop&) const = default;
};

// What both families' models do: next hops of a route, newest first.
template <typename Gateway>
using ModelHops = std::vector<ModelHop<Gateway>>;

template <typename Gateway>
bool contains(const ModelHops<Gateway>& hops, const ModelHop<Gateway>& hop) {
    return std::find(hops.begin(), hops.end(), hop) != hops.end();
}

using Gateway6 = std::array<uint8_t, 16>;

Gateway6 bytes(const HalIpAddress& address) {
    Gateway6 result;
    std::memcpy(result.data(), &address, 16);
    return result;
}

// --- IPv4 with adjacencies ----------------------------------------------------------------------

using Key4 = std::tuple<uint32_t, uint32_t, uint32_t>;  // VR, inverted mask, prefix (host order)
using Hop4 = ModelHop<uint32_t>;                        // gateway in network order
using AdjacencyKey = std::tuple<uint32_t, uint32_t, uint32_t>;  // VR, address, VLAN

struct ModelAdjacency {
    uint32_t references = 0;
    uint32_t port = 0;
    uint8_t mac = 0;
};

// Longest first, with gaps among them.
constexpr uint32_t kMasks[] = {0xFFFFFFFF, 0xFFFFFF00, 0xFFFF00FF, 0xFFFF0000,
                               0xFF000000, 0x00FF00FF, 0x0000FFFF, 0x00000000};

class Model4 {
public:
    std::map<Key4, ModelHops<uint32_t>> routes;
    std::map<AdjacencyKey, ModelAdjacency> adjacencies;

    void push(uint32_t vrId, ModelHops<uint32_t>& hops, const Hop4& hop) {
        if (contains(hops, hop)) return;
        hops.insert(hops.begin(), hop);
        ++adjacencies[{vrId, hop.gateway, hop.vlan}].references;
    }

    template <typename Predicate>
    void erase(uint32_t vrId, ModelHops<uint32_t>& hops, Predicate predicate) {
        std::erase_if(hops, [&](const Hop4& hop) {
            if (!predicate(hop)) return false;
            release({vrId, hop.gateway, hop.vlan});
            return true;
        });
    }

    void release(const AdjacencyKey& key) {
        --adjacencies.at(key).references;
        freeIfUnused(key);
    }

    void freeIfUnused(const AdjacencyKey& key) {
        const ModelAdjacency& adjacency = adjacencies.at(key);
        if (adjacency.references == 0 && adjacency.port == 0) adjacencies.erase(key);
    }
};

// One operation's request, in both forms.
struct Operation4 {
    Key4 key;
    uint32_t vrId;
    ModelHops<uint32_t> slots;
    int32_t count;  // may disagree with the number of slots below 1
    alignas(4) uint8_t memory[sizeof(pcSimIPv4FibReq) + kMaxSlots * sizeof(pcSimIPv4FibSlot)];

    const pcSimIPv4FibReq* request() const {
        return reinterpret_cast<const pcSimIPv4FibReq*>(memory);
    }
};

class Run4 {
public:
    void run() {
        for (uint32_t i = 0; i < kOperations && !testing::Test::HasFailure(); ++i) {
            step();
            if (i % 20'000 == 0) checkAll();
        }
        checkAll();
        removeAll();
    }

private:
    Random random_;
    Model4 model_;
    std::set<AdjacencyKey> touched_;

    uint32_t address() { return htonl(0x0A000000 + random_.below(12)); }
    uint32_t vlan() { return 1 + random_.below(2); }

    Operation4 operation() {
        Operation4 made;
        made.vrId = random_.oneOf(kVrs);
        const uint32_t mask = random_.oneOf(kMasks);
        // Host routes meet those of the adjacencies.
        const uint32_t prefix =
            mask == 0xFFFFFFFF ? address() : htonl(random_.below(24) * 0x01010101u);
        made.key = {made.vrId, ~mask, ntohl(prefix)};
        made.count = static_cast<int32_t>(random_.below(kMaxSlots + 3)) - 2;
        auto* request = reinterpret_cast<pcSimIPv4FibReq*>(made.memory);
        request->vrId = made.vrId;
        request->prefix = prefix;
        request->mask = htonl(mask);
        request->count = made.count;
        for (int32_t i = 0; i < made.count; ++i) {
            const Hop4 hop{address(), vlan()};
            made.slots.push_back(hop);
            request->slots[i] = {random_.below(9), hop.gateway, hop.vlan, random_.below(9)};
            touched_.insert({made.vrId, hop.gateway, hop.vlan});
        }
        return made;
    }

    void touchHops(const Operation4& operation) {
        const auto found = model_.routes.find(operation.key);
        if (found == model_.routes.end()) return;
        for (const Hop4& hop : found->second)
            touched_.insert({operation.vrId, hop.gateway, hop.vlan});
    }

    void step() {
        touched_.clear();
        const uint32_t dice = random_.below(1000);
        if (dice == 0) return flush();
        if (dice < 150) return addAdjacency();
        if (dice < 280) return removeAdjacency();
        const Operation4 made = operation();
        touchHops(made);
        if (dice < 560)
            add(made);
        else if (dice < 780)
            remove(made);
        else
            replace(made);
        checkRoute(made);
        checkTouched();
    }

    void add(const Operation4& made) {
        ASSERT_EQ(pcSimPCFamIPv4FibAddEntry(made.request()), 0);
        ModelHops<uint32_t>& hops = model_.routes[made.key];
        for (const Hop4& hop : made.slots) model_.push(made.vrId, hops, hop);
    }

    void remove(const Operation4& made) {
        ASSERT_EQ(pcSimPCFamIPv4FibDeleteEntry(made.request()), 0u);
        const auto found = model_.routes.find(made.key);
        if (found == model_.routes.end()) return;
        model_.erase(made.vrId, found->second,
                     [&](const Hop4& hop) { return made.count == 0 || contains(made.slots, hop); });
        if (found->second.empty()) model_.routes.erase(found);
    }

    void replace(const Operation4& made) {
        ASSERT_EQ(pcSimPCFamIPv4FibReplaceEntry(made.request()), 0);
        ModelHops<uint32_t>& hops = model_.routes[made.key];
        model_.erase(made.vrId, hops, [&](const Hop4& hop) { return !contains(made.slots, hop); });
        for (const Hop4& hop : made.slots) model_.push(made.vrId, hops, hop);
    }

    void flush() {
        struct {
            uint32_t vrId, prefix, mask;
            int32_t count;
            pcSimIPv4FibSlot slot;
        } filter{random_.oneOf(kVrs), address(), htonl(random_.oneOf(kMasks)), 0, {}};
        filter.slot.vlan = random_.below(3);
        ASSERT_EQ(pcSimPCFamIPv4FibFlush(reinterpret_cast<const pcSimIPv4FibReq*>(&filter)), 0u);
        for (auto route = model_.routes.begin(); route != model_.routes.end();) {
            auto& [key, hops] = *route;
            const uint32_t vrId = std::get<0>(key);
            if (vrId == filter.vrId)
                model_.erase(vrId, hops, [&](const Hop4& hop) {
                    return ((hop.gateway ^ filter.prefix) & filter.mask) == 0 &&
                           (filter.slot.vlan == 0 || filter.slot.vlan == hop.vlan);
                });
            route = vrId == filter.vrId && hops.empty() ? model_.routes.erase(route) : ++route;
        }
        checkAll();
    }

    void addAdjacency() {
        pcSimIpAdjRec added{};
        added.vrId = random_.oneOf(kVrs);
        added.family = 2;
        added.ipAddr.words[0] = address();
        added.vlan = vlan();
        added.mac[5] = static_cast<uint8_t>(random_.below(256));
        added.port = random_.below(8) == 0 ? 0 : 0x00010000 + random_.below(4);
        ASSERT_EQ(pcSimIpAdjAdd(&added), 0);
        const AdjacencyKey key{added.vrId, added.ipAddr.words[0], added.vlan};
        ModelAdjacency& adjacency = model_.adjacencies[key];
        adjacency.port = added.port;
        adjacency.mac = added.mac[5];
        const Key4 host{added.vrId, 0, ntohl(added.ipAddr.words[0])};
        if (!model_.routes.contains(host))
            model_.push(added.vrId, model_.routes[host], {added.ipAddr.words[0], added.vlan});
        touched_.insert(key);
        checkTouched();
    }

    // What a host route with no next hop (a trap) or several (the others are lost) leads to has
    // tests of its own.
    void removeAdjacency() {
        pcSimIpAdjRec removed{};
        removed.vrId = random_.oneOf(kVrs);
        removed.ipAddr.words[0] = address();
        removed.vlan = vlan();
        const AdjacencyKey key{removed.vrId, removed.ipAddr.words[0], removed.vlan};
        const auto route = model_.routes.find({removed.vrId, 0, ntohl(removed.ipAddr.words[0])});
        const bool isThere = model_.adjacencies.contains(key);
        if (isThere && route != model_.routes.end() && route->second.size() != 1) return;
        pcSimIpAdjRemove(&removed);
        touched_.insert(key);
        if (isThere) {
            model_.adjacencies[key].port = 0;
            if (route == model_.routes.end()) {
                model_.freeIfUnused(key);
            } else {
                const Hop4 hop = route->second.front();
                model_.release({removed.vrId, hop.gateway, hop.vlan});
                touched_.insert({removed.vrId, hop.gateway, hop.vlan});
                model_.routes.erase(route);
            }
        }
        checkTouched();
    }

    void checkHops(const pcSimIPv4FibRoute* route, const ModelHops<uint32_t>& expected) {
        size_t count = 0;
        for (const pcSimFibNextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
            ASSERT_LT(count, expected.size());
            ASSERT_EQ(hop->gateway, expected[count].gateway);
            ASSERT_EQ(hop->vlan, expected[count].vlan);
            ASSERT_EQ(hop->route, route);
            ASSERT_EQ(hop->adjacency->record.ipAddr.words[0], hop->gateway);
            ASSERT_EQ(hop->links.next->previous, &hop->links);
            ++count;
        }
        ASSERT_EQ(count, expected.size());
    }

    void checkRoute(const Operation4& made) {
        const pcSimIPv4FibReq* request = made.request();
        const auto* route = pcSimIPv4FibFind(request->vrId, request->prefix, request->mask);
        const auto expected = model_.routes.find(made.key);
        ASSERT_EQ(route == nullptr, expected == model_.routes.end());
        if (route != nullptr) checkHops(route, expected->second);
    }

    void checkTouched() {
        for (const AdjacencyKey& key : touched_) {
            const auto& [vrId, address, vlan] = key;
            const pcSimIpAdjEntry* entry = pcSimIpAdjLookup(vrId, address, vlan, 0);
            const auto expected = model_.adjacencies.find(key);
            ASSERT_EQ(entry == nullptr, expected == model_.adjacencies.end());
            if (entry == nullptr) continue;
            ASSERT_EQ(entry->refCount, expected->second.references);
            ASSERT_EQ(entry->record.port, expected->second.port);
            ASSERT_EQ(entry->record.mac[5], expected->second.mac);
        }
    }

    void checkAll() {
        const auto routes = walk<pcSimIPv4FibRoute>(gIPv4FibTable);
        ASSERT_EQ(routes.size(), model_.routes.size());
        size_t index = 0, hops = 0;
        for (const auto& [key, expected] : model_.routes) {
            const pcSimIPv4FibRoute* route = routes[index++];
            ASSERT_EQ(key, Key4(route->vrId, ~ntohl(route->mask), ntohl(route->prefix)));
            checkHops(route, expected);
            hops += expected.size();
        }
        touched_.clear();
        for (const auto& [key, adjacency] : model_.adjacencies) {
            touched_.insert(key);
            const auto& [vrId, address, vlan] = key;
            const pcSimIpAdjEntry* entry = pcSimIpAdjLookup(vrId, address, vlan, 0);
            ASSERT_NE(entry, nullptr);
            uint32_t listed = 0;
            for (const pcSimFibLinks* link = entry->nextHops.next; link != &entry->nextHops;
                 link = link->next)
                ++listed;
            ASSERT_EQ(listed, adjacency.references);
        }
        checkTouched();
        // Nothing else is held.
        ASSERT_EQ(static_cast<size_t>(libc().blocksInUse),
                  routes.size() + hops + model_.adjacencies.size());
    }

    void removeAll() {
        while (!model_.adjacencies.empty() && !testing::Test::HasFailure()) {
            for (uint32_t vrId : kVrs)
                pcSimPCFamIPv4FibFlush(Request4(vrId, "0.0.0.0", "0.0.0.0", {}));
            const auto& [vrId, address, vlan] = model_.adjacencies.begin()->first;
            pcSimIpAdjRec removed{};
            removed.vrId = vrId;
            removed.ipAddr.words[0] = address;
            removed.vlan = vlan;
            pcSimIpAdjRemove(&removed);
            model_.adjacencies.erase(model_.adjacencies.begin());
        }
        EXPECT_EQ(gIPv4FibTable, nullptr);
        EXPECT_EQ(libc().blocksInUse, 0);
    }
};

TEST(Model, IPv4RoutesAndAdjacencies) {
    Run4().run();
}

// --- IPv6 ---------------------------------------------------------------------------------------

using Key6 = std::tuple<uint32_t, uint32_t, Gateway6>;  // VR, inverted length, prefix
using Hop6 = ModelHop<Gateway6>;

constexpr uint8_t kLengths[] = {128, 127, 64, 48, 33, 1, 0, 200};

class Run6 {
public:
    void run() {
        for (uint32_t i = 0; i < kOperations && !testing::Test::HasFailure(); ++i) {
            step();
            if (i % 20'000 == 0) checkAll();
        }
        checkAll();
        for (uint32_t vrId : kVrs) pcSimPCFamIPv6FibFlush(Request6(vrId, "::", 0, {}));
        EXPECT_EQ(gIPv6FibTable, nullptr);
        EXPECT_EQ(libc().blocksInUse, 0);
    }

private:
    Random random_;
    std::map<Key6, ModelHops<Gateway6>> routes_;

    HalIpAddress address() {
        HalIpAddress made{};
        made.bytes[0] = static_cast<uint8_t>(random_.below(2) * 0x80);
        made.bytes[5] = static_cast<uint8_t>(random_.below(3));
        made.bytes[15] = static_cast<uint8_t>(random_.below(4));
        return made;
    }

    void step() {
        alignas(4)
            uint8_t memory[sizeof(pcSimIPv6FibReq) + kMaxSlots * sizeof(pcSimIPv6FibSlot)] = {};
        auto* request = reinterpret_cast<pcSimIPv6FibReq*>(memory);
        request->vrId = random_.oneOf(kVrs);
        request->prefix = address();
        request->maskLen = random_.oneOf(kLengths);
        request->count = static_cast<uint8_t>(random_.below(kMaxSlots + 1));
        ModelHops<Gateway6> slots;
        for (uint32_t i = 0; i < request->count; ++i) {
            request->slots[i].gateway = address();
            request->slots[i].vlan = 1 + random_.below(2);
            slots.push_back({bytes(request->slots[i].gateway), request->slots[i].vlan});
        }
        const Key6 key{request->vrId, ~uint32_t{request->maskLen}, bytes(request->prefix)};
        const uint32_t dice = random_.below(1000);
        if (dice == 0) {
            request->slots[0].vlan = random_.below(3);
            return flush(request);
        }
        if (dice < 400)
            add(request, key, slots);
        else if (dice < 700)
            remove(request, key, slots);
        else
            replace(request, key, slots);
        checkRoute(request, key);
    }

    static void push(ModelHops<Gateway6>& hops, const ModelHops<Gateway6>& slots) {
        for (const Hop6& hop : slots)
            if (!contains(hops, hop)) hops.insert(hops.begin(), hop);
    }

    void add(const pcSimIPv6FibReq* request, const Key6& key, const ModelHops<Gateway6>& slots) {
        ASSERT_EQ(pcSimPCFamIPv6FibAddEntry(request), 0);
        push(routes_[key], slots);
    }

    void remove(const pcSimIPv6FibReq* request, const Key6& key, const ModelHops<Gateway6>& slots) {
        ASSERT_EQ(pcSimPCFamIPv6FibDeleteEntry(request), 0u);
        const auto found = routes_.find(key);
        if (found == routes_.end()) return;
        std::erase_if(found->second,
                      [&](const Hop6& hop) { return slots.empty() || contains(slots, hop); });
        if (found->second.empty()) routes_.erase(found);
    }

    void replace(const pcSimIPv6FibReq* request, const Key6& key,
                 const ModelHops<Gateway6>& slots) {
        ASSERT_EQ(pcSimPCFamIPv6FibReplaceEntry(request), 0);
        ModelHops<Gateway6>& hops = routes_[key];
        std::erase_if(hops, [&](const Hop6& hop) { return !contains(slots, hop); });
        push(hops, slots);
    }

    // Whether the first 'length' bits agree, one by one.
    static bool agree(const Gateway6& a, const Gateway6& b, uint32_t length) {
        for (uint32_t bit = 0; bit < std::min(length, 128u); ++bit)
            if (((a[bit / 8] ^ b[bit / 8]) >> (7 - bit % 8) & 1) != 0) return false;
        return true;
    }

    void flush(const pcSimIPv6FibReq* filter) {
        ASSERT_EQ(pcSimPCFamIPv6FibFlush(filter), 0u);
        const uint32_t vlan = filter->slots[0].vlan;
        for (auto route = routes_.begin(); route != routes_.end();) {
            const bool isInVr = std::get<0>(route->first) == filter->vrId;
            if (isInVr)
                std::erase_if(route->second, [&](const Hop6& hop) {
                    return agree(hop.gateway, bytes(filter->prefix), filter->maskLen) &&
                           (vlan == 0 || vlan == hop.vlan);
                });
            route = isInVr && route->second.empty() ? routes_.erase(route) : ++route;
        }
        checkAll();
    }

    void checkHops(const pcSimIPv6FibRoute* route, const ModelHops<Gateway6>& expected) {
        size_t count = 0;
        for (const pcSimIPv6FibNextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
            ASSERT_LT(count, expected.size());
            ASSERT_EQ(bytes(hop->gateway), expected[count].gateway);
            ASSERT_EQ(hop->vlan, expected[count].vlan);
            ++count;
        }
        ASSERT_EQ(count, expected.size());
    }

    void checkRoute(const pcSimIPv6FibReq* request, const Key6& key) {
        const uint32_t* words = request->prefix.words;
        const auto* route = pcSimIPv6FibFind(request->vrId, words[0], words[1], words[2], words[3],
                                             request->maskLen);
        const auto expected = routes_.find(key);
        ASSERT_EQ(route == nullptr, expected == routes_.end());
        if (route != nullptr) checkHops(route, expected->second);
    }

    void checkAll() {
        const auto routes = walk<pcSimIPv6FibRoute>(gIPv6FibTable);
        ASSERT_EQ(routes.size(), routes_.size());
        size_t index = 0, hops = 0;
        for (const auto& [key, expected] : routes_) {
            const pcSimIPv6FibRoute* route = routes[index++];
            ASSERT_EQ(key, Key6(route->vrId, ~route->maskLen, bytes(route->prefix)));
            checkHops(route, expected);
            hops += expected.size();
        }
        ASSERT_EQ(static_cast<size_t>(libc().blocksInUse), routes.size() + hops);
    }
};

TEST(Model, IPv6Routes) {
    Run6().run();
}

}  // namespace
