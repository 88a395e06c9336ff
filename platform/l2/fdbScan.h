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

// The answer about a bucket, a bit per entry, the first entry's lowest. The lowest byte says which
// entries are in use and hold the address, the next one which are free; that counts only where none
// holds the address. A search that meets a broken entry finds nothing else.
class FdbScan {
public:
    static constexpr uint32_t kFreeShift = 8;
    static constexpr uint32_t kMeetsBroken = 0x10000;

    explicit FdbScan(uint32_t bits) noexcept : bits_(bits) {}

    // Whether an entry in use holds the address, and the first that does.
    bool holds() const noexcept { return (bits_ & 0xFF) != 0; }
    uint32_t firstHolding() const noexcept { return first(bits_); }
    // Where no entry holds the address: whether there is a free one, and the first.
    bool hasFree() const noexcept { return bits_ != 0; }
    uint32_t firstFree() const noexcept { return first(bits_ >> kFreeShift); }
    // Whether an entry in use with handle 0 comes before the address's own entry, is that entry, or
    // is anywhere when the address is not there.
    bool meetsBroken() const noexcept { return bits_ == kMeetsBroken; }

private:
    static uint32_t first(uint32_t bits) noexcept {
        return static_cast<uint32_t>(std::countr_zero(bits));
    }
    uint32_t bits_;
};

// Scans the 8 entries from 'bucket' on for the 6 bytes at 'mac' in VLAN '*instance' and returns the
// bits of an FdbScan. Arguments travel in registers.
#ifdef __i386__
#define PCSIM_REGISTER_ARGUMENTS __attribute__((regparm(3)))
#else
#define PCSIM_REGISTER_ARGUMENTS
#endif
using FdbScanFn = PCSIM_REGISTER_ARGUMENTS uint32_t(const HalFdbEntry* bucket,
                                                    const uint32_t* instance,
                                                    const uint8_t* mac) noexcept;

FdbScanFn scanBucketPlain;
#ifdef PCSIM_FDB_SCAN_SIMD
FdbScanFn scanBucketSse2;
FdbScanFn scanBucketAvx2;

// What a processor answers about itself: registers C and D of leaf 1, B of leaf 7, each 0 where it
// hasn't the leaf; and which of its registers the system keeps, where it can be asked for that.
struct ProcessorAnswers {
    uint32_t leaf1C;
    uint32_t leaf1D;
    uint32_t leaf7B;
    uint32_t keptRegisters;
};

// The fastest scan that a processor with these answers can run.
FdbScanFn* fastestScanOf(const ProcessorAnswers& answers) noexcept;
#endif

// The fastest scan that this processor can run.
FdbScanFn* fastestScan() noexcept;

}  // namespace pcsim

#endif
