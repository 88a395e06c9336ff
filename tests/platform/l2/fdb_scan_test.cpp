// The bucket scans against a loop over the entries: each one alone, on buckets of every kind.
#include "platform/l2/fdbScan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#ifdef PCSIM_FDB_SCAN_SIMD
#include <cpuid.h>
#endif

namespace {

using namespace pcsim;

struct Scan {
    const char* name;
    FdbScanFn* scan;
};

// All that this processor can run.
std::vector<Scan> runnableScans() {
    std::vector<Scan> scans = {{"plain", scanBucketPlain}};
#ifdef PCSIM_FDB_SCAN_SIMD
    if (fastestScan() != scanBucketPlain) scans.push_back({"SSE2", scanBucketSse2});
    if (fastestScan() == scanBucketAvx2) scans.push_back({"AVX2", scanBucketAvx2});
#endif
    return scans;
}

const std::vector<Scan> kScans = runnableScans();

constexpr uint32_t kNone = 8;

struct Expected {
    uint32_t firstHolding = kNone;
    uint32_t firstFree = kNone;
    bool meetsBroken = false;
};

// The search as an entry-by-entry loop does it.
Expected searchInOrder(const HalFdbEntry* bucket, uint32_t instance, const uint8_t* mac) {
    Expected expected;
    for (uint32_t i = 0; i < 8; ++i) {
        const HalFdbEntry& entry = bucket[i];
        if (entry.inUse == 0) {
            if (expected.firstFree == kNone) expected.firstFree = i;
            continue;
        }
        if (entry.handle == 0 && expected.firstHolding == kNone) expected.meetsBroken = true;
        if (expected.firstHolding == kNone && entry.vlanInstance == instance &&
            std::memcmp(entry.mac, mac, 6) == 0)
            expected.firstHolding = i;
    }
    return expected;
}

void expectScans(const HalFdbEntry* bucket, uint32_t instance, const uint8_t* mac) {
    const Expected expected = searchInOrder(bucket, instance, mac);
    for (const Scan& scan : kScans) {
        const FdbScan result(scan.scan(bucket, &instance, mac));
        ASSERT_EQ(result.meetsBroken(), expected.meetsBroken) << scan.name;
        if (expected.meetsBroken) {
            ASSERT_FALSE(result.holds()) << scan.name;
            continue;
        }
        ASSERT_EQ(result.holds() ? result.firstHolding() : kNone, expected.firstHolding)
            << scan.name;
        if (expected.firstHolding == kNone) {
            ASSERT_EQ(result.hasFree() ? result.firstFree() : kNone, expected.firstFree)
                << scan.name;
        }
    }
}

#ifdef PCSIM_FDB_SCAN_SIMD

struct Processor {
    const char* name;
    ProcessorAnswers answers;
    FdbScanFn* scan;
};

constexpr uint32_t kSse2 = bit_SSE2;
constexpr uint32_t kXsave = bit_OSXSAVE;
constexpr uint32_t kAvx2 = bit_AVX2;
constexpr uint32_t kAllKept = 7;

const Processor kProcessors[] = {
    {"that answers nothing", {0, 0, 0, 0}, scanBucketPlain},
    {"with all but SSE2", {~(kXsave), ~kSse2, ~0u, 0}, scanBucketPlain},
    {"with SSE2 alone", {0, kSse2, 0, 0}, scanBucketSse2},
    {"without AVX2", {~0u, ~0u, ~kAvx2, ~0u}, scanBucketSse2},
    {"with AVX2, whose system keeps none of its registers", {~0u, ~0u, ~0u, 0}, scanBucketSse2},
    {"with AVX2, whose system keeps those of SSE", {~0u, ~0u, ~0u, 3}, scanBucketSse2},
    {"with AVX2, whose system keeps only the upper halves", {~0u, ~0u, ~0u, 5}, scanBucketSse2},
    {"with AVX2, whose system can't be asked", {~kXsave, ~0u, ~0u, kAllKept}, scanBucketSse2},
    {"with AVX2", {kXsave, kSse2, kAvx2, kAllKept}, scanBucketAvx2},
    {"of today", {~0u, ~0u, ~0u, ~0u}, scanBucketAvx2},
};

TEST(FdbScan, EachProcessorGetsTheFastestThatItCanRun) {
    for (const Processor& processor : kProcessors)
        EXPECT_EQ(fastestScanOf(processor.answers), processor.scan)
            << "a processor " << processor.name;
}

// The processor is asked once more, by the compiler's means.
TEST(FdbScan, ThisProcessorGetsWhatTheCompilerFinds) {
    __builtin_cpu_init();
    FdbScanFn* const expected = __builtin_cpu_supports("avx2")   ? scanBucketAvx2
                                : __builtin_cpu_supports("sse2") ? scanBucketSse2
                                                                 : scanBucketPlain;
    EXPECT_EQ(fastestScan(), expected);
}

#endif

TEST(FdbScan, EmptyBucketIsFree) {
    const HalFdbEntry bucket[8]{};
    const uint8_t mac[6]{};
    expectScans(bucket, 0, mac);
}

TEST(FdbScan, EverySingleBitOfTheAddressCountsInEveryEntry) {
    const uint8_t mac[6] = {0x00, 0x04, 0x96, 0x12, 0x34, 0x56};
    for (uint32_t i = 0; i < 8; ++i) {
        HalFdbEntry bucket[8]{};
        for (auto& entry : bucket) entry = {9, 1, 0, 0, 0, {9, 9, 9, 9, 9, 9}, 1, 0};
        bucket[i].vlanInstance = 5;
        std::memcpy(bucket[i].mac, mac, 6);
        expectScans(bucket, 5, mac);
        for (uint32_t bit = 0; bit < 48; ++bit) {
            bucket[i].mac[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
            expectScans(bucket, 5, mac);
            bucket[i].mac[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
        }
        for (uint32_t bit = 0; bit < 32; ++bit) {
            bucket[i].vlanInstance ^= 1u << bit;
            expectScans(bucket, 5, mac);
            bucket[i].vlanInstance ^= 1u << bit;
        }
    }
}

TEST(FdbScan, AnyUseButZeroIsInUseAndTheReservedByteIsIgnored) {
    const uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
    for (uint32_t use = 0; use < 256; ++use) {
        HalFdbEntry bucket[8]{};
        bucket[6] = {9, 5, 0, 0, 0, {1, 2, 3, 4, 5, 6}, static_cast<uint8_t>(use), 0xFF};
        expectScans(bucket, 5, mac);
    }
}

// Few values per field, so that equal, broken, free and half-equal entries meet in every mixture.
TEST(FdbScan, RandomBuckets) {
    constexpr uint32_t kSeed = 20240;
    std::mt19937 random(kSeed);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    const uint32_t handles[] = {0, 1, 0x80000000, 0xFFFFFFFF, 0x00010000};
    const uint32_t instances[] = {0, 5, 0x80000005};
    for (int round = 0; round < 100000; ++round) {
        HalFdbEntry bucket[8];
        uint32_t r = 0;
        for (auto& entry : bucket) {
            r = random();
            entry.handle = handles[(r & 0xFF) % 5];
            entry.vlanInstance = instances[(r >> 8) % 3];
            entry.valueA = entry.valueB = entry.port = r;
            std::memset(entry.mac, 0, 6);
            entry.mac[(r >> 16) % 6] = (r >> 20) & 1;
            entry.inUse = (r >> 21) % 4 != 0;
            entry.reserved27 = static_cast<uint8_t>(r >> 24);
        }
        const HalFdbEntry& wanted = bucket[random() % 8];
        uint8_t mac[6];
        std::memcpy(mac, wanted.mac, 6);
        expectScans(bucket, wanted.vlanInstance, mac);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
