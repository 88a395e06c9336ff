// The tables that are measured against each other: the library's, and the same keys and payload in
// a bare Boost.Intrusive AVL set and in a std::map.
//
// All have the same operations: add, find, replace (of the one next hop), flush (of one gateway),
// remove (find and delete), dump and size. Nodes come from the heap, one allocation each.
#ifndef PCSIM_BENCH_ROUTES_CONTENDERS_H
#define PCSIM_BENCH_ROUTES_CONTENDERS_H

#include <boost/intrusive/avl_set.hpp>
#include <compare>
#include <cstring>
#include <map>

#include "bench/routes/prefixes.h"

namespace pcsim::bench {

constexpr uint32_t kGateways = 250;

// The next hop of gateway number 'index'.
inline uint32_t gateway4(uint32_t index) {
    return htonl(0x0A000001 + index);
}
inline uint32_t vlanOf(uint32_t index) {
    return 1 + index % 16;
}
inline HalIpAddress gateway6(uint32_t index) {
    return {.words = {htonl(0xFE800000), 0, 0, htonl(1 + index)}};
}

// A sink that drops what it is given; every table is dumped into it with the same formats.
int discard(uint32_t context, const char* format, ...) __attribute__((format(printf, 2, 3)));
inline uint32_t discarded;

// --- Keys in table order, as fast to compare as can be
// --------------------------------------------

struct Key4 {
    uint32_t vrId;
    uint32_t invertedMask;
    uint32_t prefix;
    auto operator<=>(const Key4&) const = default;
    static Key4 of(const Prefix& prefix) {
        return {0, ~ntohl(maskOf(prefix)), ntohl(prefix.address.words[0])};
    }
};

struct Key6 {
    uint32_t vrId;
    uint32_t invertedLength;
    HalIpAddress prefix;
    std::strong_ordering operator<=>(const Key6& other) const {
        if (const auto order = vrId <=> other.vrId; order != 0) return order;
        if (const auto order = invertedLength <=> other.invertedLength; order != 0) return order;
        return std::memcmp(&prefix, &other.prefix, sizeof prefix) <=> 0;
    }
    bool operator==(const Key6& other) const { return (*this <=> other) == 0; }
    static Key6 of(const Prefix& prefix) { return {0, ~uint32_t{prefix.length}, prefix.address}; }
};

struct Payload4 {
    uint32_t gateway;
    uint32_t vlan;
    static Payload4 of(uint32_t index) { return {gateway4(index), vlanOf(index)}; }
    bool isVia(uint32_t index) const { return gateway == gateway4(index); }
};

struct Payload6 {
    HalIpAddress gateway;
    uint32_t vlan;
    static Payload6 of(uint32_t index) { return {gateway6(index), vlanOf(index)}; }
    bool isVia(uint32_t index) const {
        const HalIpAddress other = gateway6(index);
        return std::memcmp(&gateway, &other, sizeof other) == 0;
    }
};

inline void dumpRow(const Key4& key, const Payload4& payload) {
    discard(0, "%4d %08x/%08x %08x %06d\n", key.vrId, key.prefix, ~key.invertedMask,
            payload.gateway, payload.vlan);
}
inline void dumpRow(const Key6& key, const Payload6& payload) {
    char prefix[40], gateway[40];
    inet_ntop(AF_INET6, &key.prefix, prefix, sizeof prefix);
    inet_ntop(AF_INET6, &payload.gateway, gateway, sizeof gateway);
    discard(0, "%4d %39s/%3d %08d \n", key.vrId, prefix, ~key.invertedLength, payload.vlan);
    discard(0, "     %s \n", gateway);
}

// --- std::map
// -------------------------------------------------------------------------------------

template <typename Key, typename Payload>
class MapTable {
public:
    static constexpr const char* kName = "std::map";
    bool add(const Prefix& prefix, uint32_t gateway) {
        return map_.try_emplace(Key::of(prefix), Payload::of(gateway)).second;
    }
    bool find(const Prefix& prefix) { return map_.contains(Key::of(prefix)); }
    bool replace(const Prefix& prefix, uint32_t gateway) {
        const auto found = map_.find(Key::of(prefix));
        if (found == map_.end()) return false;
        found->second = Payload::of(gateway);
        return true;
    }
    void flush(uint32_t gateway) {
        std::erase_if(map_, [gateway](const auto& row) { return row.second.isVia(gateway); });
    }
    bool remove(const Prefix& prefix) { return map_.erase(Key::of(prefix)) == 1; }
    void dump() {
        for (const auto& [key, payload] : map_) dumpRow(key, payload);
    }
    size_t size() { return map_.size(); }

private:
    std::map<Key, Payload> map_;
};

// --- Boost.Intrusive --------------------------------------------------------------------------

template <typename Key, typename Payload>
class AvlTable {
public:
    static constexpr const char* kName = "Boost AVL";
    bool add(const Prefix& prefix, uint32_t gateway) {
        Node* const node = new Node{{}, Key::of(prefix), Payload::of(gateway)};
        if (set_.insert(*node).second) return true;
        delete node;
        return false;
    }
    bool find(const Prefix& prefix) { return set_.find(Key::of(prefix)) != set_.end(); }
    bool replace(const Prefix& prefix, uint32_t gateway) {
        const auto found = set_.find(Key::of(prefix));
        if (found == set_.end()) return false;
        found->payload = Payload::of(gateway);
        return true;
    }
    void flush(uint32_t gateway) {
        for (auto at = set_.begin(); at != set_.end();)
            at = at->payload.isVia(gateway) ? set_.erase_and_dispose(at, dispose) : ++at;
    }
    bool remove(const Prefix& prefix) {
        const auto found = set_.find(Key::of(prefix));
        if (found == set_.end()) return false;
        set_.erase_and_dispose(found, dispose);
        return true;
    }
    void dump() {
        for (const Node& node : set_) dumpRow(node.key, node.payload);
    }
    size_t size() { return set_.size(); }

private:
    using Hook = boost::intrusive::avl_set_base_hook<
        boost::intrusive::link_mode<boost::intrusive::normal_link>>;
    struct Node : Hook {
        Node(const Hook&, const Key& k, const Payload& p) : key(k), payload(p) {}
        Key key;
        Payload payload;
    };
    struct KeyOf {
        using type = Key;
        const Key& operator()(const Node& node) const { return node.key; }
    };
    static void dispose(Node* node) { delete node; }

    boost::intrusive::avl_set<Node, boost::intrusive::key_of_value<KeyOf>,
                              boost::intrusive::constant_time_size<false>>
        set_;
};

// --- The library ------------------------------------------------------------------------------

// Through the operations that the HAL is given; look-ups through the exported helper.
class LibraryIPv4 {
public:
    static constexpr const char* kName = "pcSim";
    bool add(const Prefix& prefix, uint32_t gateway);
    bool find(const Prefix& prefix);
    bool replace(const Prefix& prefix, uint32_t gateway);
    void flush(uint32_t gateway);
    void flushAll();
    bool remove(const Prefix& prefix);
    void dump();
    void dumpFormatted();  // into a sink that drops each line only when it is formatted
    size_t size();
};

class LibraryIPv6 {
public:
    static constexpr const char* kName = "pcSim";
    bool add(const Prefix& prefix, uint32_t gateway);
    bool find(const Prefix& prefix);
    bool replace(const Prefix& prefix, uint32_t gateway);
    void flush(uint32_t gateway);
    bool remove(const Prefix& prefix);
    void dump();
    size_t size();
};

}  // namespace pcsim::bench

#endif
