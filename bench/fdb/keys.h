// The addresses that the forwarding database is measured with.
#ifndef PCSIM_BENCH_FDB_KEYS_H
#define PCSIM_BENCH_FDB_KEYS_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace pcsim::bench {

constexpr uint32_t kVlans = 4094;  // all there can be

// An address as all tables under test take it; it begins as the HAL's own key does. VLAN n has the
// instance n and the id n.
struct Key {
    uint32_t vlan;
    uint32_t macLow;   // bytes 0 to 3 of the address, in the order of memory
    uint32_t macHigh;  // bytes 4 and 5
    bool operator==(const Key&) const = default;
    const uint8_t* mac() const { return reinterpret_cast<const uint8_t*>(&macLow); }
};

inline Key keyOf(uint32_t vlan, uint64_t mac) {
    return {vlan, __builtin_bswap32(static_cast<uint32_t>(mac >> 16)),
            __builtin_bswap16(static_cast<uint16_t>(mac))};
}

struct KeyHash {
    using is_avalanching = void;
    // Two multiplications, folded: as cheap as a good hash of 10 bytes gets on 32 bits.
    size_t operator()(const Key& key) const noexcept {
        const uint64_t first = static_cast<uint64_t>(key.macLow ^ 0x9E3779B9u) *
                               ((key.vlan << 16 | key.macHigh) ^ 0x85EBCA6Bu);
        const uint64_t second = static_cast<uint64_t>(static_cast<uint32_t>(first) ^ 0xC2B2AE35u) *
                                (static_cast<uint32_t>(first >> 32) ^ 0x27D4EB2Fu);
        return static_cast<uint32_t>(second) ^ static_cast<uint32_t>(second >> 32);
    }
};

// What is learned, and as many addresses that are not.
struct KeySet {
    std::string name;
    std::vector<Key> present;
    std::vector<Key> absent;
};

// Vendor prefixes (the first three bytes of an address), and where they come from.
struct Prefixes {
    std::vector<uint32_t> values;
    std::string origin;
};

// Reads prefixes, six hexadecimal digits per line, from 'path', through xz when it ends in ".xz".
// With an empty path a list beside the project is tried; without one prefixes are made up. Ends
// the program when a path that was given can't be read.
Prefixes loadPrefixes(const std::string& path, std::mt19937_64& random);

// Runs of consecutive addresses under vendor prefixes, each run in any one of 'vlans' VLANs.
KeySet vendorRuns(size_t count, uint32_t vlans, const Prefixes& prefixes, std::mt19937_64& random);
// Addresses and VLANs without any order.
KeySet uniformRandom(size_t count, uint32_t vlans, std::mt19937_64& random);
// 100 consecutive addresses in each of 4,094 VLANs.
KeySet everyVlan(std::mt19937_64& random);
// Addresses of one VLAN that all fall into one bucket.
KeySet oneBucket(size_t count, std::mt19937_64& random);

}  // namespace pcsim::bench

#endif
