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
PCSIM_REGISTER_ARGUMENTS uint32_t scanBucketPlain(const HalFdbEntry* bucket, uint32_t instance,
                                                  const uint8_t* mac) noexcept {
    const uint32_t macLow = wordAt(mac);
    const uint32_t macHigh = halfWordAt(mac + 4);
    uint32_t outcome = 0;
    uint32_t free = 0;
    for (uint32_t i = 0; i < HAL_FDB_BUCKET_ENTRIES; ++i) {
        const HalFdbEntry& entry = bucket[i];
        if (entry.inUse == 0) {
            free |= 1u << 2 * i;
            continue;
        }
        if (entry.handle == 0) outcome |= 1u << 2 * i;
        if (wordAt(entry.mac) == macLow && halfWordAt(entry.mac + 4) == macHigh &&
            entry.vlanInstance == instance) {
            outcome |= 2u << 2 * i;
            break;
        }
    }
    return outcome | free << FdbScan::kFreeShift;
}

#ifdef PCSIM_FDB_SCAN_SIMD

// Both scans compare words 0 and 1 (handle, VLAN instance) and words 5 and 6 (address, use) of all
// entries and pack the outcomes, so that each entry becomes one word with two half-words:
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

#define AVX2 __attribute__((target("avx2"), always_inline)) inline

// Entries 0 and 1 from 'entry' in the lower half, 4 and 5 in the upper: packing two registers works
// on halves, and with entries 2, 3, 6 and 7 in the other one gives them in order.
AVX2 __m256i fourEntries(const HalFdbEntry* entry, size_t offset) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(twoEntries(entry, offset)),
                                   twoEntries(entry + 4, offset), 1);
}

AVX2 __m256i compareFronts(const HalFdbEntry* entry, __m256i wanted) noexcept {
    return _mm256_cmpeq_epi32(fourEntries(entry, offsetof(HalFdbEntry, handle)), wanted);
}

AVX2 __m256i compareMacs(__m256i four, __m256i wanted) noexcept {
    return _mm256_cmpeq_epi32(_mm256_slli_epi64(four, 16), wanted);
}

AVX2 __m256i compareUse(__m256i four, __m256i zero) noexcept {
    return _mm256_slli_epi64(_mm256_cmpeq_epi8(four, zero), 8);
}

#undef AVX2

bool hasSse2() noexcept {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (d & bit_SSE2) != 0;
}

// AVX2, with a system that keeps its registers: bits 1 and 2 of the extended control register.
bool hasAvx2() noexcept {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0) return false;
    uint32_t low = 0;
    uint32_t high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    if ((low & 6) != 6) return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
}

}  // namespace

// The stack of an old host is aligned to 4 bytes; a register that is spilled needs more.
#ifdef __i386__
#define ALIGNS_STACK __attribute__((force_align_arg_pointer))
#else
#define ALIGNS_STACK
#endif

ALIGNS_STACK __attribute__((target("sse2"))) PCSIM_REGISTER_ARGUMENTS uint32_t
scanBucketSse2(const HalFdbEntry* bucket, uint32_t instance, const uint8_t* mac) noexcept {
    const __m128i front =
        _mm_unpacklo_epi32(_mm_setzero_si128(), _mm_set1_epi32(static_cast<int>(instance)));
    const __m128i address = addressAt(mac);
    const __m128i wanted = _mm_slli_epi64(_mm_unpacklo_epi64(address, address), 16);
    __m128i unused[2];
    const __m128i first = scanFour(bucket, front, wanted, &unused[0]);
    const __m128i second = scanFour(bucket + 4, front, wanted, &unused[1]);
    const auto outcome = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(first, second)));
    const auto free =
        static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(unused[0], unused[1])));
    return outcome | free << FdbScan::kFreeShift;
}

ALIGNS_STACK __attribute__((target("avx2"))) PCSIM_REGISTER_ARGUMENTS uint32_t
scanBucketAvx2(const HalFdbEntry* bucket, uint32_t instance, const uint8_t* mac) noexcept {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i ones = _mm256_cmpeq_epi32(zero, zero);
    const __m256i front =
        _mm256_unpacklo_epi32(zero, _mm256_set1_epi32(static_cast<int>(instance)));
    const __m256i fronts =
        _mm256_packs_epi32(compareFronts(bucket, front), compareFronts(bucket + 2, front));

    const __m256i a = fourEntries(bucket, offsetof(HalFdbEntry, mac));
    const __m256i b = fourEntries(bucket + 2, offsetof(HalFdbEntry, mac));
    const __m256i wanted = _mm256_slli_epi64(_mm256_broadcastq_epi64(addressAt(mac)), 16);
    const __m256i macs = _mm256_packs_epi32(compareMacs(a, wanted), compareMacs(b, wanted));
    const __m256i unused =
        _mm256_srai_epi32(_mm256_packs_epi32(compareUse(a, zero), compareUse(b, zero)), 31);

    const __m256i same =
        _mm256_or_si256(_mm256_cmpeq_epi32(macs, ones), _mm256_srli_epi32(ones, 16));
    const __m256i outcome = _mm256_and_si256(_mm256_andnot_si256(unused, fronts), same);
    // Packed by halves; the quarters are put in order.
    static_assert(FdbScan::kFreeShift == 16);
    return static_cast<uint32_t>(
        _mm256_movemask_epi8(_mm256_permute4x64_epi64(_mm256_packs_epi16(outcome, unused), 0xD8)));
}
#endif

FdbScanFn* fastestScan() noexcept {
#ifdef PCSIM_FDB_SCAN_SIMD
    if (hasAvx2()) return scanBucketAvx2;
    if (hasSse2()) return scanBucketSse2;
#endif
    return scanBucketPlain;
}

}  // namespace pcsim
