// The bucket scans: plain code, SSE2 and AVX2.
#include "platform/l2/fdbScan.h"

#include <cstddef>
#include <cstring>

#ifdef PCSIM_FDB_SCAN_SIMD
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace pcsim {
namespace {

uint32_t wordAt(const uint8_t* bytes) noexcept {
    uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

uint32_t halfWordAt(const uint8_t* bytes) noexcept {
    uint16_t halfWord;
    std::memcpy(&halfWord, bytes, sizeof halfWord);
    return halfWord;
}

}  // namespace

// A processor without SSE2 reads little ahead: stopping at the address pays.
PCSIM_REGISTER_ARGUMENTS uint32_t scanBucketPlain(const HalFdbEntry* bucket,
                                                  const uint32_t* instance,
                                                  const uint8_t* mac) noexcept {
    const uint32_t macLow = wordAt(mac);
    const uint32_t macHigh = halfWordAt(mac + 4);
    uint32_t free = 0;
    for (uint32_t i = 0; i < HAL_FDB_BUCKET_ENTRIES; ++i) {
        const HalFdbEntry& entry = bucket[i];
        if (entry.inUse == 0) {
            free |= 1u << i;
            continue;
        }
        if (entry.handle == 0) return FdbScan::kMeetsBroken;
        if (wordAt(entry.mac) == macLow && halfWordAt(entry.mac + 4) == macHigh &&
            entry.vlanInstance == *instance)
            return 1u << i;
    }
    return free << FdbScan::kFreeShift;
}

#ifdef PCSIM_FDB_SCAN_SIMD

// With SSE2, words 0 and 1 (handle, VLAN instance) and words 5 and 6 (address, use) of all entries
// are compared and the outcomes packed, so that each entry becomes one word with two half-words:
//   fronts  handle 0, wanted VLAN
//   macs    wanted first four bytes, wanted last two bytes; the use and the reserved byte behind
//           them are shifted out
//   unused  use byte 0, in both; shifted over the reserved byte it is the sign of its word
// What they come to is, per entry, broken and holding.
namespace {

#define SSE2 __attribute__((target("sse2"), always_inline)) inline

// Two neighbouring words of two entries: the one at 'offset' and the one behind it.
SSE2 __m128i twoEntries(const HalFdbEntry* entry, size_t offset) noexcept {
    const uint8_t* words = reinterpret_cast<const uint8_t*>(entry) + offset;
    const __m128i first = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(words));
    return _mm_castps_si128(_mm_loadh_pi(
        _mm_castsi128_ps(first), reinterpret_cast<const __m64*>(words + sizeof(HalFdbEntry))));
}

// The address in the lower half.
SSE2 __m128i addressAt(const uint8_t* mac) noexcept {
    return _mm_insert_epi16(_mm_cvtsi32_si128(static_cast<int>(wordAt(mac))),
                            static_cast<int16_t>(halfWordAt(mac + 4)), 2);
}

SSE2 __m128i compareFronts(const HalFdbEntry* entry, __m128i wanted) noexcept {
    return _mm_cmpeq_epi32(twoEntries(entry, offsetof(HalFdbEntry, handle)), wanted);
}

SSE2 __m128i compareMacs(__m128i two, __m128i wanted) noexcept {
    return _mm_cmpeq_epi32(_mm_slli_epi64(two, 16), wanted);
}

SSE2 __m128i compareUse(__m128i two, __m128i zero) noexcept {
    return _mm_slli_epi64(_mm_cmpeq_epi8(two, zero), 8);
}

// Broken and holding of four entries; whether they are free goes to '*unused'.
SSE2 __m128i scanFour(const HalFdbEntry* entry, __m128i front, __m128i mac,
                      __m128i* unused) noexcept {
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_cmpeq_epi32(zero, zero);
    const __m128i fronts =
        _mm_packs_epi32(compareFronts(entry, front), compareFronts(entry + 2, front));
    const __m128i a = twoEntries(entry, offsetof(HalFdbEntry, mac));
    const __m128i b = twoEntries(entry + 2, offsetof(HalFdbEntry, mac));
    *unused = _mm_srai_epi32(_mm_packs_epi32(compareUse(a, zero), compareUse(b, zero)), 31);
    const __m128i macs = _mm_packs_epi32(compareMacs(a, mac), compareMacs(b, mac));
    const __m128i same = _mm_or_si128(_mm_cmpeq_epi32(macs, ones), _mm_srli_epi32(ones, 16));
    return _mm_and_si128(_mm_andnot_si128(*unused, fronts), same);
}

#undef SSE2

// With AVX2, entries become fields: a register has the same word of all entries, a lane for each.
// The last two words of an entry lie before the first two of the next, so one load takes the four
// around a seam between two entries. The sign of a lane counts; shifts bring the half-word or the
// byte that matters there, past the reserved byte, which may be anything.

#define AVX2 __attribute__((target("avx2"), always_inline)) inline

AVX2 __m128i seamBefore(const HalFdbEntry* entry) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(
        reinterpret_cast<const uint8_t*>(entry) - (sizeof *entry - offsetof(HalFdbEntry, mac))));
}

// A seam of the first four entries in the lower half, the same of the last four in the upper.
AVX2 __m256i seamsBefore(const HalFdbEntry* entry) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(seamBefore(entry)), seamBefore(entry + 4),
                                   1);
}

AVX2 uint32_t signs(__m256i lanes) noexcept {
    return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

#undef AVX2

ProcessorAnswers askProcessor() noexcept {
    ProcessorAnswers answers{};
    uint32_t unused = 0;
    // One that hasn't the leaf that is asked for leaves the answers at 0.
    __get_cpuid(1, &unused, &unused, &answers.leaf1C, &answers.leaf1D);
    __get_cpuid_count(7, 0, &unused, &answers.leaf7B, &unused, &unused);
    if ((answers.leaf1C & bit_OSXSAVE) != 0)
        __asm__("xgetbv" : "=a"(answers.keptRegisters), "=d"(unused) : "c"(0));
    return answers;
}

}  // namespace

// The stack of an old host is aligned to 4 bytes; a register that is spilled needs more.
#ifdef __i386__
#define ALIGNS_STACK __attribute__((force_align_arg_pointer))
#else
#define ALIGNS_STACK
#endif

ALIGNS_STACK __attribute__((target("sse2"))) PCSIM_REGISTER_ARGUMENTS uint32_t
scanBucketSse2(const HalFdbEntry* bucket, const uint32_t* instance, const uint8_t* mac) noexcept {
    const __m128i front =
        _mm_unpacklo_epi32(_mm_setzero_si128(), _mm_set1_epi32(static_cast<int>(*instance)));
    const __m128i address = addressAt(mac);
    const __m128i wanted = _mm_slli_epi64(_mm_unpacklo_epi64(address, address), 16);
    __m128i unused[2];
    const __m128i first = scanFour(bucket, front, wanted, &unused[0]);
    const __m128i second = scanFour(bucket + 4, front, wanted, &unused[1]);
    // Where a broken one stands is what the plain scan finds out.
    constexpr int kBroken = 0x3333;
    if ((_mm_movemask_epi8(_mm_or_si128(first, second)) & kBroken) != 0) [[unlikely]]
        return scanBucketPlain(bucket, instance, mac);
    const __m128i holding = _mm_packs_epi32(first, second);
    const __m128i free = _mm_packs_epi32(unused[0], unused[1]);
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(holding, free)));
}

ALIGNS_STACK __attribute__((target("avx2"))) PCSIM_REGISTER_ARGUMENTS uint32_t
scanBucketAvx2(const HalFdbEntry* bucket, const uint32_t* instance, const uint8_t* mac) noexcept {
    // Nothing is read before the first entry or behind the last: these two make one seam.
    const __m128i ends = _mm_castps_si128(_mm_loadh_pi(
        _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bucket[7].mac))),
        reinterpret_cast<const __m64*>(&bucket[0].handle)));
    const __m256i seam0 =
        _mm256_inserti128_si256(_mm256_castsi128_si256(ends), seamBefore(bucket + 4), 1);
    const __m256i seam1 = seamsBefore(bucket + 1);
    const __m256i seam2 = seamsBefore(bucket + 2);
    const __m256i seam3 = seamsBefore(bucket + 3);
    // Behind entries 3 and 7.
    const __m256i seam4 = _mm256_permute2x128_si256(seam0, seam0, 1);

    const __m256i fronts01 = _mm256_unpackhi_epi32(seam0, seam1);
    const __m256i fronts23 = _mm256_unpackhi_epi32(seam2, seam3);
    const __m256i handles = _mm256_unpacklo_epi64(fronts01, fronts23);
    const __m256i instances = _mm256_unpackhi_epi64(fronts01, fronts23);
    const __m256i backs01 = _mm256_unpacklo_epi32(seam1, seam2);
    const __m256i backs23 = _mm256_unpacklo_epi32(seam3, seam4);
    const __m256i macLows = _mm256_unpacklo_epi64(backs01, backs23);
    const __m256i uses = _mm256_unpackhi_epi64(backs01, backs23);

    const __m256i zero = _mm256_setzero_si256();
    const __m256i free = _mm256_slli_epi32(_mm256_cmpeq_epi8(uses, zero), 8);
    const __m256i broken = _mm256_andnot_si256(free, _mm256_cmpeq_epi32(handles, zero));
    const __m256i same = _mm256_and_si256(
        _mm256_and_si256(
            _mm256_cmpeq_epi32(instances, _mm256_set1_epi32(static_cast<int>(*instance))),
            _mm256_cmpeq_epi32(macLows, _mm256_set1_epi32(static_cast<int>(wordAt(mac))))),
        _mm256_slli_epi32(
            _mm256_cmpeq_epi16(uses, _mm256_set1_epi16(static_cast<int16_t>(halfWordAt(mac + 4)))),
            16));
    if (_mm256_testz_ps(_mm256_castsi256_ps(broken), _mm256_castsi256_ps(broken)) == 0) [[unlikely]]
        return scanBucketPlain(bucket, instance, mac);
    return signs(free) << FdbScan::kFreeShift | signs(_mm256_andnot_si256(free, same));
}

FdbScanFn* fastestScanOf(const ProcessorAnswers& answers) noexcept {
    constexpr uint32_t kWideRegisters = 6;  // those of SSE and of AVX
    if ((answers.leaf1C & bit_OSXSAVE) != 0 &&
        (answers.keptRegisters & kWideRegisters) == kWideRegisters &&
        (answers.leaf7B & bit_AVX2) != 0)
        return scanBucketAvx2;
    return (answers.leaf1D & bit_SSE2) != 0 ? scanBucketSse2 : scanBucketPlain;
}

FdbScanFn* fastestScan() noexcept {
    return fastestScanOf(askProcessor());
}
#else
FdbScanFn* fastestScan() noexcept {
    return scanBucketPlain;
}
#endif

}  // namespace pcsim
