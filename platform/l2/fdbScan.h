// Looks through one bucket of the forwarding database.
//
// Which entry of a bucket holds an address is as good as random, so a loop that stops at it costs a
// mispredicted branch per call. The scans with SSE2 and AVX2 have no branch: they say of every
// entry whether it holds the address, is free, or is broken, and the caller picks the first. The
// fewer instructions a scan takes, the more buckets the processor reads ahead; with a table that
// does not fit its caches, that is what the time of a look-up depends on. All scans give the same
// answer.
#ifndef PCSIM_L2_FDBSCAN_H
#define PCSIM_L2_FDBSCAN_H

#include <bit>

#include "pcsim/l2.h"

#if defined(__i386__) || defined(__x86_64__)
#define PCSIM_FDB_SCAN_SIMD 1
#endif

namespace pcsim {

// The answer about a bucket, two bits per entry and half. Of entry n, bit 2n of the lower half
// tells that it is broken (in use without a handle), bit 2n + 1 that it is in use and holds the
// address. The upper half is 0 where an entry is in use, anything else where it is free.
class FdbScan {
public:
    static constexpr uint32_t kBrokenBits = 0x5555;
    static constexpr uint32_t kHoldingBits = 0xAAAA;
    static constexpr uint32_t kFreeShift = 16;

    explicit FdbScan(uint32_t bits) noexcept : bits_(bits) {}

    // Whether an entry in use holds the address, and the first that does.
    bool holds() const noexcept { return holding() != 0; }
    uint32_t firstHolding() const noexcept { return first(holding()); }
    // Where no entry holds the address: whether there is a free one, and the first.
    bool hasFree() const noexcept { return free() != 0; }
    uint32_t firstFree() const noexcept { return first(free()); }
    // Whether an entry in use with handle 0 comes before the address's own entry, is that entry, or
    // is anywhere when the address is not there: one that a search in order would meet.
    bool meetsBroken() const noexcept {
        const uint32_t met = holding() ^ (holding() - 1);  // up to the first, all without one
        return (bits_ & kBrokenBits & met) != 0;
    }

private:
    uint32_t holding() const noexcept { return bits_ & kHoldingBits; }
    uint32_t free() const noexcept { return bits_ >> kFreeShift; }
    static uint32_t first(uint32_t bits) noexcept {
        return static_cast<uint32_t>(std::countr_zero(bits)) / 2;
    }
    uint32_t bits_;
};

// Scans the 8 entries from 'bucket' on for the 6 bytes at 'mac' in VLAN 'instance' and returns the
// bits of an FdbScan. Arguments travel in registers.
#ifdef __i386__
#define PCSIM_REGISTER_ARGUMENTS __attribute__((regparm(3)))
#else
#define PCSIM_REGISTER_ARGUMENTS
#endif
using FdbScanFn = PCSIM_REGISTER_ARGUMENTS uint32_t(const HalFdbEntry* bucket, uint32_t instance,
                                                    const uint8_t* mac) noexcept;

FdbScanFn scanBucketPlain;
#ifdef PCSIM_FDB_SCAN_SIMD
FdbScanFn scanBucketSse2;
FdbScanFn scanBucketAvx2;
#endif

// The fastest scan that this processor can run.
FdbScanFn* fastestScan() noexcept;

}  // namespace pcsim

#endif
