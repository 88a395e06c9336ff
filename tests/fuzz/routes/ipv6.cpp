// IPv6 routes: operations, model, comparison.
#include "tests/fuzz/routes/ipv6.h"

#include <algorithm>

#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"
#include "tests/support/tree.h"

namespace pcsim::fuzz {
namespace {

constexpr uint32_t kVrs[] = {0, 1, 256};
constexpr uint8_t kLengths[] = {128, 128, 127, 65, 64, 33, 1, 0, 129, 200, 255};

template <typename List, typename Item>
bool contains(const List& list, const Item& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

template <typename Bytes>
HalIpAddress asAddress(const Bytes& bytes) {
    HalIpAddress result;
    std::memcpy(&result, bytes.data(), sizeof result);
    return result;
}

// Whether the first 'length' bits agree, one by one.
template <typename Bytes>
bool agree(const Bytes& a, const Bytes& b, uint32_t length) {
    for (uint32_t bit = 0; bit < std::min(length, 128u); ++bit)
        if (((a[bit / 8] ^ b[bit / 8]) >> (7 - bit % 8) & 1) != 0) return false;
    return true;
}

}  // namespace

// One bit apart in the middle of each word, at its ends, and between words.
IPv6Routes::Address IPv6Routes::address() {
    const uint8_t bits = input_.byte();
    Address made{};
    made[0] = static_cast<uint8_t>((bits & 1) << 7);
    made[4] = static_cast<uint8_t>((bits & 2) << 6);
    made[7] = static_cast<uint8_t>((bits & 4) >> 2);
    made[8] = static_cast<uint8_t>((bits & 8) << 4);
    made[15] = static_cast<uint8_t>((bits >> 4) & 3);
    return made;
}

IPv6Routes::Operation IPv6Routes::operation() {
    constexpr uint32_t kMaxSlots = 4;
    const uint32_t vrId = input_.oneOf(kVrs);
    const uint8_t length = input_.oneOf(kLengths);
    const Address prefix = address();
    const uint32_t count = input_.below(kMaxSlots + 1);
    Operation made{.key = {vrId, ~uint32_t{length}, prefix},
                   .slots = {},
                   .request = Exact<pcSimIPv6FibReq>(sizeof(pcSimIPv6FibReq) +
                                                     count * sizeof(pcSimIPv6FibSlot))};
    made.request->vrId = vrId;
    made.request->prefix = asAddress(prefix);
    made.request->maskLen = length;
    made.request->count = static_cast<uint8_t>(count);
    for (uint32_t i = 0; i < count; ++i) {
        const Hop hop{address(), 1 + input_.below(2)};
        made.slots.push_back(hop);
        made.request->slots[i].gateway = asAddress(hop.gateway);
        made.request->slots[i].vlan = hop.vlan;
    }
    return made;
}

bool IPv6Routes::fail(size_t memory, bool inserts) {
    const uint8_t how = input_.byte();
    if (how % 4 != 0) return false;
    if ((how & 4) != 0) {
        test::tree().refuseInsert = inserts ? 1 : 0;
        return inserts;
    }
    const uint32_t n = (how >> 3) % 8;
    if (n >= memory) return false;
    library().failAllocation = n + 1;
    return true;
}

void IPv6Routes::add(bool exclusive) {
    const Operation made = operation();
    const auto known = routes_.find(made.key);
    const bool isNew = known == routes_.end();
    Hops hops = isNew ? Hops{} : known->second;
    for (const Hop& hop : made.slots)
        if (!contains(hops, hop)) hops.insert(hops.begin(), hop);
    const size_t fresh = hops.size() - (isNew ? 0 : known->second.size());
    const bool fails = fail(fresh + (isNew ? 1 : 0), isNew);
    const int32_t result = exclusive ? pcSimPCFamIPv6FibReplaceEntry(made.request)
                                     : pcSimPCFamIPv6FibAddEntry(made.request);
    FUZZ_SAME(result, fails ? -1 : 0);
    if (fails) return;
    if (exclusive) std::erase_if(hops, [&](const Hop& hop) { return !contains(made.slots, hop); });
    routes_[made.key] = hops;
}

void IPv6Routes::remove() {
    const Operation made = operation();
    FUZZ_SAME(pcSimPCFamIPv6FibDeleteEntry(made.request), 0u);
    const auto found = routes_.find(made.key);
    if (found == routes_.end()) return;
    std::erase_if(found->second,
                  [&](const Hop& hop) { return made.slots.empty() || contains(made.slots, hop); });
    if (found->second.empty()) routes_.erase(found);
}

void IPv6Routes::flush() {
    const Exact<pcSimIPv6FibReq> filter(sizeof(pcSimIPv6FibReq) + sizeof(pcSimIPv6FibSlot));
    const uint32_t vrId = filter->vrId = input_.oneOf(kVrs);
    const Address gateway = address();
    const uint8_t length = filter->maskLen = input_.oneOf(kLengths);
    const uint32_t vlan = filter->slots[0].vlan = input_.below(3);
    filter->prefix = asAddress(gateway);
    filter->count = input_.byte();
    FUZZ_SAME(pcSimPCFamIPv6FibFlush(filter), 0u);
    for (auto route = routes_.begin(); route != routes_.end();) {
        auto& [key, hops] = *route;
        const bool inVr = std::get<0>(key) == vrId;
        if (inVr)
            std::erase_if(hops, [&](const Hop& hop) {
                return agree(hop.gateway, gateway, length) && (vlan == 0 || vlan == hop.vlan);
            });
        route = inVr && hops.empty() ? routes_.erase(route) : ++route;
    }
}

void IPv6Routes::directRoute() {
    const uint32_t vrId = input_.oneOf(kVrs);
    const Hop hop{address(), 1 + input_.below(2)};
    const Key key{vrId, ~128u, hop.gateway};
    const HalIpAddress address = asAddress(hop.gateway);
    const uint32_t* const words = address.words;
    const auto known = routes_.find(key);
    pcSimIPv6FibRoute* const found =
        pcSimIPv6FibDirectRtLookup(vrId, words[0], words[1], words[2], words[3]);
    FUZZ_SAME(found == nullptr, known == routes_.end());
    if (found != nullptr && known->second.size() <= 1 && input_.flag()) {
        pcSimIPv6FibDirectRtFree(found);
        routes_.erase(known);
        return;
    }
    const bool fails = fail(2, true) || found != nullptr;
    const auto* const made =
        pcSimIPv6FibDirectRtCreate(vrId, words[0], words[1], words[2], words[3], hop.vlan);
    FUZZ_SAME(made == nullptr, fails);
    if (made != nullptr) routes_[key] = {hop};
}

void IPv6Routes::step() {
    switch (input_.below(8)) {
        case 0:
        case 1:
            return add(false);
        case 2:
        case 3:
            return add(true);
        case 4:
            return remove();
        case 5:
            return flush();
        default:
            return directRoute();
    }
}

void IPv6Routes::check() const {
    HalTreeNode* node = p2BtreeFirst(&gIPv6FibTable);
    for (const auto& [key, hops] : routes_) {
        FUZZ_CHECK(node != nullptr);
        const auto& route = *reinterpret_cast<const pcSimIPv6FibRoute*>(node);
        FUZZ_CHECK(isLive(&route));
        FUZZ_SAME(route.vrId, std::get<0>(key));
        FUZZ_SAME(route.maskLen, ~std::get<1>(key));
        FUZZ_SAME(std::memcmp(&route.prefix, std::get<2>(key).data(), 16), 0);
        const pcSimIPv6FibNextHop* hop = route.nextHops;
        for (const Hop& expected : hops) {
            FUZZ_CHECK(hop != nullptr && isLive(hop));
            FUZZ_SAME(std::memcmp(&hop->gateway, expected.gateway.data(), 16), 0);
            FUZZ_SAME(hop->vlan, expected.vlan);
            FUZZ_CHECK(hop->route == &route && hop->adjacency == nullptr);
            FUZZ_CHECK(hop->links.next == &hop->links && hop->links.previous == &hop->links);
            hop = hop->next;
        }
        FUZZ_CHECK(hop == nullptr);
        node = p2BtreeNext(node);
    }
    FUZZ_CHECK(node == nullptr);
}

size_t IPv6Routes::blocks() const {
    size_t count = routes_.size();
    for (const auto& [key, hops] : routes_) count += hops.size();
    return count;
}

void IPv6Routes::end() {
    for (const auto& [key, hops] : routes_) {
        const Exact<pcSimIPv6FibReq> all;
        all->vrId = std::get<0>(key);
        all->maskLen = static_cast<uint8_t>(~std::get<1>(key));
        all->prefix = asAddress(std::get<2>(key));
        FUZZ_SAME(pcSimPCFamIPv6FibDeleteEntry(all), 0u);
    }
    FUZZ_CHECK(gIPv6FibTable == nullptr);
}

}  // namespace pcsim::fuzz
