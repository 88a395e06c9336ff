// IPv4 routes: what each operation does to the model, and what of it may fail.
#include "tests/fuzz/routes/ipv4.h"

#include <arpa/inet.h>

#include <algorithm>

#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"
#include "tests/support/tree.h"

namespace pcsim::fuzz {
namespace {

constexpr uint32_t kVrs[] = {0, 1, 256};
constexpr uint32_t kMasks[] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFF00, 0xFFFF00FF, 0xFF000000, 0};
constexpr uint32_t kAddresses = 6;
constexpr uint32_t kMaxSlots = 5;

template <typename List, typename Item>
bool contains(const List& list, const Item& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

}  // namespace

uint32_t IPv4Routes::vr() {
    return input_.oneOf(kVrs);
}

uint32_t IPv4Routes::address() {
    return htonl(0x0A000000 + input_.below(kAddresses));
}

uint32_t IPv4Routes::vlan() {
    return 1 + input_.below(2);
}

IPv4Routes::AdjacencyKey IPv4Routes::adjacencyKey(uint32_t vrId, const Hop& hop) {
    return {htonl(vrId), ntohl(hop.gateway), htonl(hop.vlan)};
}

IPv4Routes::Key IPv4Routes::hostKey(uint32_t vrId, uint32_t address) {
    return {vrId, 0, ntohl(address)};
}

Exact<pcSimIPv4FibReq> IPv4Routes::makeRequest(uint32_t vrId, uint32_t prefix, uint32_t mask,
                                               int32_t count) const {
    const size_t slots = count > 0 ? static_cast<size_t>(count) : 0;
    Exact<pcSimIPv4FibReq> request(sizeof(pcSimIPv4FibReq) + slots * sizeof(pcSimIPv4FibSlot));
    request->vrId = vrId;
    request->prefix = prefix;
    request->mask = mask;
    request->count = count;
    return request;
}

IPv4Routes::Operation IPv4Routes::operation() {
    const uint32_t vrId = vr();
    const uint32_t mask = input_.oneOf(kMasks);
    const uint32_t prefix = mask == 0xFFFFFFFF ? address() : htonl(input_.below(4) * 0x01010101u);
    const int32_t count = static_cast<int32_t>(input_.below(kMaxSlots + 2)) - 1;
    Operation made{.key = {vrId, ~mask, ntohl(prefix)},
                   .vrId = vrId,
                   .slots = {},
                   .count = count,
                   .request = makeRequest(vrId, prefix, htonl(mask), count)};
    for (int32_t i = 0; i < count; ++i) {
        const Hop hop{address(), vlan()};
        made.slots.push_back(hop);
        made.request->slots[i] = {0x5A, hop.gateway, hop.vlan, 0x5A};
    }
    return made;
}

// What is allocated, and which nodes the tree is given, in that order.
IPv4Routes::Needs IPv4Routes::needsOf(const Operation& made, bool isNew) const {
    Needs needs;
    const auto found = routes_.find(made.key);
    Hops known = found != routes_.end() ? found->second : Hops{};
    if (isNew) needs.memory += 'R';
    std::vector<AdjacencyKey> fresh;
    for (const Hop& hop : made.slots) {
        if (contains(known, hop)) continue;
        known.push_back(hop);
        needs.memory += 'H';
        const AdjacencyKey key = adjacencyKey(made.vrId, hop);
        if (adjacencies_.contains(key) || contains(fresh, key)) continue;
        fresh.push_back(key);
        needs.memory += 'A';
        needs.insertions += 'A';
    }
    if (isNew) needs.insertions += 'R';
    return needs;
}

// Has one of the needs fail, unless it is one of those that stop the process. Whether one will.
bool IPv4Routes::fail(const Needs& needs, const char* forgiven) {
    const uint8_t how = input_.byte();
    if (how % 4 != 0) return false;
    const std::string& list = (how & 4) != 0 ? needs.memory : needs.insertions;
    const uint32_t n = (how >> 3) % 8;
    if (n >= list.size() || std::strchr(forgiven, list[n]) == nullptr) return false;
    ((how & 4) != 0 ? library().failAllocation : test::tree().refuseInsert) = n + 1;
    return true;
}

void IPv4Routes::attach(const Key& key, Hops& hops, const Hop& hop) {
    if (contains(hops, hop)) return;
    hops.insert(hops.begin(), hop);
    const uint32_t vrId = std::get<0>(key);
    Adjacency& adjacency = adjacencies_[adjacencyKey(vrId, hop)];
    if (adjacency.record.family == 0) {
        adjacency.record.vrId = vrId;
        adjacency.record.family = HAL_IP_FAMILY_IPV4;
        adjacency.record.ipAddr.words[0] = hop.gateway;
        adjacency.record.vlan = hop.vlan;
    }
    adjacency.users.push_back(key);
}

void IPv4Routes::freeIfUnused(const AdjacencyKey& key) {
    const Adjacency& adjacency = adjacencies_.at(key);
    if (adjacency.users.empty() && adjacency.record.port == 0) adjacencies_.erase(key);
}

void IPv4Routes::release(const Key& key, const Hop& hop) {
    const AdjacencyKey adjacency = adjacencyKey(std::get<0>(key), hop);
    auto& users = adjacencies_.at(adjacency).users;
    users.erase(std::find(users.begin(), users.end(), key));
    freeIfUnused(adjacency);
}

template <typename Predicate>
void IPv4Routes::erase(const Key& key, Hops& hops, Predicate predicate) {
    std::erase_if(hops, [&](const Hop& hop) {
        if (!predicate(hop)) return false;
        release(key, hop);
        return true;
    });
}

void IPv4Routes::add(bool exclusive) {
    const Operation made = operation();
    const bool isNew = !routes_.contains(made.key);
    const bool fails = fail(needsOf(made, isNew), "RH");
    const int32_t result = exclusive ? pcSimPCFamIPv4FibReplaceEntry(made.request)
                                     : pcSimPCFamIPv4FibAddEntry(made.request);
    FUZZ_SAME(result, fails ? -1 : 0);
    if (fails) return;
    Hops& hops = routes_[made.key];
    const Hops old = hops;
    for (const Hop& hop : made.slots) attach(made.key, hops, hop);
    if (exclusive)
        erase(made.key, hops, [&](const Hop& hop) { return !contains(made.slots, hop); });
}

void IPv4Routes::remove() {
    const Operation made = operation();
    FUZZ_SAME(pcSimPCFamIPv4FibDeleteEntry(made.request), 0u);
    const auto found = routes_.find(made.key);
    if (found == routes_.end()) return;
    erase(made.key, found->second,
          [&](const Hop& hop) { return made.count == 0 || contains(made.slots, hop); });
    if (found->second.empty()) routes_.erase(found);
}

void IPv4Routes::flush() {
    const uint32_t vrId = vr();
    const uint32_t gateway = address();
    const uint32_t mask = htonl(input_.oneOf(kMasks));
    const uint32_t vlan = input_.below(3);
    const Exact<pcSimIPv4FibReq> filter = makeRequest(vrId, gateway, mask, 1);
    filter->slots[0].vlan = vlan;
    filter->count = static_cast<int32_t>(input_.hostile());
    FUZZ_SAME(pcSimPCFamIPv4FibFlush(filter), 0u);
    for (auto route = routes_.begin(); route != routes_.end();) {
        auto& [key, hops] = *route;
        const bool inVr = std::get<0>(key) == vrId;
        if (inVr)
            erase(key, hops, [&](const Hop& hop) {
                return ((hop.gateway ^ gateway) & mask) == 0 && (vlan == 0 || vlan == hop.vlan);
            });
        route = inVr && hops.empty() ? routes_.erase(route) : ++route;
    }
}

void IPv4Routes::addAdjacency() {
    const Exact<pcSimIpAdjRec> record;
    record->vrId = vr();
    record->family = input_.byte();  // not looked at
    record->ipAddr.words[0] = address();
    record->ipAddr.words[3] = input_.byte();
    record->vlan = vlan();
    record->mac[5] = input_.byte();
    record->reserved40[23] = record->mac[5];
    record->port = input_.below(4);
    const Hop hop{record->ipAddr.words[0], record->vlan};
    const AdjacencyKey key = adjacencyKey(record->vrId, hop);
    const Key host = hostKey(record->vrId, hop.gateway);
    const bool isNew = !adjacencies_.contains(key);
    const bool lacksRoute = !routes_.contains(host);
    const Needs needs{std::string(isNew ? "A" : "") + (lacksRoute ? "RH" : ""),
                      std::string(isNew ? "A" : "") + (lacksRoute ? "R" : "")};
    const bool adjacencyFails = isNew && fail(needs, "A");
    const bool routeFails = !adjacencyFails && fail(needs, "RH");
    FUZZ_SAME(pcSimIpAdjAdd(record), adjacencyFails ? -1 : 0);
    if (adjacencyFails) return;
    Adjacency& adjacency = adjacencies_[key];
    adjacency.record = *record.get();
    adjacency.record.family = HAL_IP_FAMILY_IPV4;
    adjacency.record.ipAddr.words[3] = 0;
    if (lacksRoute && !routeFails) attach(host, routes_[host], hop);
}

// A host route without a next hop stops the process, and of one with several the others are lost.
void IPv4Routes::removeAdjacency() {
    Exact<pcSimIpAdjRec> record(offsetof(pcSimIpAdjRec, reserved28));
    const uint32_t vrId = record->vrId = vr();
    const Hop hop{record->ipAddr.words[0] = address(), record->vlan = vlan()};
    const auto found = adjacencies_.find(adjacencyKey(vrId, hop));
    const auto route = routes_.find(hostKey(vrId, hop.gateway));
    if (found != adjacencies_.end() && route != routes_.end() && route->second.size() != 1) return;
    pcSimIpAdjRemove(record);
    if (found == adjacencies_.end()) return;
    found->second.record.port = 0;
    if (route == routes_.end()) return freeIfUnused(found->first);
    release(route->first, route->second.front());
    routes_.erase(route);
}

void IPv4Routes::lookUpAdjacency() {
    const uint32_t vrId = vr();
    const Hop hop{address(), vlan()};
    const AdjacencyKey key = adjacencyKey(vrId, hop);
    const bool create = input_.flag();
    const bool isNew = create && !adjacencies_.contains(key);
    const bool fails = isNew && fail({"A", "A"}, "A");
    pcSimIpAdjEntry* const entry = pcSimIpAdjLookup(vrId, hop.gateway, hop.vlan, create ? 1 : 0);
    if (fails || (!create && !adjacencies_.contains(key))) {
        FUZZ_CHECK(entry == nullptr);
        return;
    }
    FUZZ_CHECK(entry != nullptr && isLive(entry));
    if (isNew) {
        pcSimIpAdjRec& record = adjacencies_[key].record;
        record.vrId = vrId;
        record.family = HAL_IP_FAMILY_IPV4;
        record.ipAddr.words[0] = hop.gateway;
        record.vlan = hop.vlan;
    }
    checkAdjacency(*entry, key);
    if (!input_.flag()) return;
    _pcSimIpAdjFree(entry);
    freeIfUnused(key);
}

// A host that makes a host route itself, and takes it away again.
void IPv4Routes::directRoute() {
    const uint32_t vrId = vr();
    const Hop hop{address(), vlan()};
    const Key key = hostKey(vrId, hop.gateway);
    const auto known = routes_.find(key);
    pcSimIPv4FibRoute* const found = pcSimIPv4FibDirectRtLookup(vrId, hop.gateway);
    FUZZ_SAME(found == nullptr, known == routes_.end());
    if (found != nullptr) {
        if (!input_.flag() || known->second.size() != 1) {
            FUZZ_CHECK(pcSimIPv4FibDirectRtCreate(vrId, hop.gateway, hop.vlan) == nullptr);
            return;
        }
        rtDeattachIpAdjEntry(found->nextHops);
        pcSimIPv4FibDirectRtFree(found);
        release(key, known->second.front());
        routes_.erase(known);
        return;
    }
    const bool fails = fail({"RH", "R"}, "RH");
    pcSimIPv4FibRoute* const made = pcSimIPv4FibDirectRtCreate(vrId, hop.gateway, hop.vlan);
    FUZZ_SAME(made == nullptr, fails);
    if (made == nullptr) return;
    rtAttachIpAdjEntry(pcSimIpAdjLookup(vrId, hop.gateway, hop.vlan, 1), made->nextHops);
    attach(key, routes_[key], hop);
}

void IPv4Routes::step() {
    switch (input_.below(10)) {
        case 0:
        case 1:
        case 2:
            return add(false);
        case 3:
        case 4:
            return add(true);
        case 5:
            return remove();
        case 6:
            return addAdjacency();
        case 7:
            return removeAdjacency();
        case 8:
            return lookUpAdjacency();
        default:
            return input_.flag() ? flush() : directRoute();
    }
}

}  // namespace pcsim::fuzz
