// What differs between the two address families of the route tables, for the manager's one
// mechanism over both: records, operations, keys and their order.
//
// Addresses and masks are kept as the platform's records hold them, in network byte order.
#ifndef PCSIM_HOST_L3_FAMILIES_H
#define PCSIM_HOST_L3_FAMILIES_H

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "console/values.h"
#include "pcsim/family.h"

namespace pcsim::host {

template <typename Address>
struct FibHop {
    Address gateway;
    uint32_t vlan;
    bool operator==(const FibHop&) const = default;
};

struct IPv4Family {
    static constexpr const char* kName = "IPv4";
    static constexpr bool kV6 = false;
    static constexpr auto kAdd = &HalFamilyOps::ipv4FibAddEntry;
    static constexpr auto kDelete = &HalFamilyOps::ipv4FibDeleteEntry;
    static constexpr auto kReplace = &HalFamilyOps::ipv4FibReplaceEntry;
    static constexpr auto kFlush = &HalFamilyOps::ipv4FibFlush;
    static constexpr auto kDump = &HalFamilyOps::ipv4FibDump;
    static constexpr size_t kMostHops = 0x10000;  // our own limit: the count has 31 bits

    using Request = pcSimIPv4FibReq;
    using Route = pcSimIPv4FibRoute;
    using NextHop = pcSimFibNextHop;
    using Address = uint32_t;
    using Hop = FibHop<Address>;
    struct Key {
        Address prefix;
        uint32_t mask;
        bool operator==(const Key&) const = default;
    };

    static Address addressOf(const IpAddress& address) { return address.v4(); }
    static Key keyOf(const IpPrefix& prefix) { return {prefix.address.v4(), prefix.mask}; }
    static constexpr Key hostKey(Address address) { return {address, 0xFFFFFFFF}; }
    static constexpr Key everything() { return {0, 0}; }

    // The order of the platform's table within a virtual router.
    static bool before(const Key& a, const Key& b) { return order(a) < order(b); }
    // Whether every address in 'narrow' is in 'wide'.
    static bool covers(const Key& wide, const Key& narrow) {
        return (wide.mask & ~narrow.mask) == 0 && contains(wide, narrow.prefix);
    }
    static bool contains(const Key& key, Address address) {
        return ((address ^ key.prefix) & key.mask) == 0;
    }

    static void setKey(Request& request, const Key& key, size_t count) {
        request.prefix = key.prefix;
        request.mask = key.mask;
        request.count = static_cast<int32_t>(count);
    }
    static void setGateway(pcSimIPv4FibSlot& slot, Address gateway) { slot.gateway = gateway; }

    static std::string text(Address address) { return ipv4Text(address); }
    static std::string text(const Key& key) { return ipv4Text(key.prefix, key.mask); }

    struct Hash {
        size_t operator()(const Key& key) const {
            const uint64_t mixed = (uint64_t{key.prefix} << 32 | key.mask) * 0x9E3779B97F4A7C15u;
            return static_cast<size_t>(mixed >> 32);
        }
    };

private:
    static uint64_t order(const Key& key) {
        return uint64_t{~ntohl(key.mask)} << 32 | ntohl(key.prefix);
    }
};

struct IPv6Family {
    static constexpr const char* kName = "IPv6";
    static constexpr bool kV6 = true;
    static constexpr auto kAdd = &HalFamilyOps::ipv6FibAddEntry;
    static constexpr auto kDelete = &HalFamilyOps::ipv6FibDeleteEntry;
    static constexpr auto kReplace = &HalFamilyOps::ipv6FibReplaceEntry;
    static constexpr auto kFlush = &HalFamilyOps::ipv6FibFlush;
    static constexpr auto kDump = &HalFamilyOps::ipv6FibDump;
    static constexpr size_t kMostHops = std::numeric_limits<uint8_t>::max();  // the count is a byte

    using Request = pcSimIPv6FibReq;
    using Route = pcSimIPv6FibRoute;
    using NextHop = pcSimIPv6FibNextHop;
    struct Address {
        uint32_t words[4];
        bool operator==(const Address&) const = default;
    };
    using Hop = FibHop<Address>;
    struct Key {
        Address prefix;
        uint32_t length;
        bool operator==(const Key&) const = default;
    };

    static Address addressOf(const IpAddress& address);
    static Key keyOf(const IpPrefix& prefix) { return {addressOf(prefix.address), prefix.length}; }
    static Key hostKey(const Address& address) { return {address, 128}; }
    static constexpr Key everything() { return {}; }

    static bool before(const Key& a, const Key& b) {
        if (a.length != b.length) return a.length > b.length;
        return std::memcmp(&a.prefix, &b.prefix, sizeof a.prefix) < 0;
    }
    static bool covers(const Key& wide, const Key& narrow) {
        return wide.length <= narrow.length && contains(wide, narrow.prefix);
    }
    static bool contains(const Key& key, const Address& address);

    static void setKey(Request& request, const Key& key, size_t count) {
        std::memcpy(&request.prefix, &key.prefix, sizeof request.prefix);
        request.maskLen = static_cast<uint8_t>(key.length);
        request.count = static_cast<uint8_t>(count);
    }
    static void setGateway(pcSimIPv6FibSlot& slot, const Address& gateway) {
        std::memcpy(&slot.gateway, &gateway, sizeof slot.gateway);
    }

    static std::string text(const Address& address);
    static std::string text(const Key& key);

    struct Hash {
        size_t operator()(const Key& key) const {
            uint64_t mixed = key.length;
            for (const uint32_t word : key.prefix.words) {
                mixed = (mixed ^ word) * 0x9E3779B97F4A7C15u;
                mixed ^= mixed >> 32;
            }
            return static_cast<size_t>(mixed);
        }
    };
};

}  // namespace pcsim::host

#endif
