// The VLANs and addresses that the fuzzer of the forwarding database works with: few buckets, and
// many addresses for each.
#ifndef PCSIM_TESTS_FUZZ_FDB_ADDRESSES_H
#define PCSIM_TESTS_FUZZ_FDB_ADDRESSES_H

#include <algorithm>
#include <vector>

#include "tests/platform/l2/fdb_support.h"

namespace pcsim::fuzz {

using namespace pcsim::test;

constexpr uint32_t kVlans = 4;
constexpr uint32_t kMacs = 28;

// Two VLANs share an id, and with it all buckets.
inline HalVlanIf vlanIfs[kVlans];
constexpr uint16_t kVlanIds[kVlans] = {0, 0, 7, 4095};

inline void prepareVlans() {
    for (uint32_t i = 0; i < kVlans; ++i) {
        vlanIfs[i].instance = 0x1000001 + i;
        vlanIfs[i].vlanId = kVlanIds[i];
    }
}

inline const std::vector<Mac>& macs() {
    static const std::vector<Mac> all = [] {
        std::vector<Mac> both = macsOfOneBucket(kMacs / 2, 0x000496000000);
        for (const Mac& mac : macsOfOneBucket(kMacs / 2, 0xFFFF00000000)) both.push_back(mac);
        return both;
    }();
    return all;
}

inline uint32_t firstOf(const Mac& mac, const HalVlanIf& vlanIf) {
    return referenceBucket(mac, vlanIf.vlanId) * HAL_FDB_BUCKET_ENTRIES;
}

// The first entries of the buckets that addresses come from.
inline const std::vector<uint32_t>& buckets() {
    static const std::vector<uint32_t> all = [] {
        std::vector<uint32_t> firsts;
        for (const Mac& mac : {macs().front(), macs().back()})
            for (const HalVlanIf& vlanIf : vlanIfs) firsts.push_back(firstOf(mac, vlanIf));
        std::sort(firsts.begin(), firsts.end());
        firsts.erase(std::unique(firsts.begin(), firsts.end()), firsts.end());
        return firsts;
    }();
    return all;
}

// One input of 256, told by its bytes, so that it is the same one each time.
inline bool seldom(const uint8_t* bytes, size_t size) {
    uint32_t hash = 2166136261;
    for (size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 16777619;
    return hash >> 24 == 0;
}

}  // namespace pcsim::fuzz

#endif
