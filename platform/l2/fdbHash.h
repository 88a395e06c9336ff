// The hash of an address: CRC-16/ARC over its six bytes, read from one table per byte position.
//
// The CRC starts at 0 and nothing is XORed at the end, so it is linear: the CRC of six bytes is the
// XOR of what each byte contributes at its position. Six independent look-ups take the place of a
// chain of twelve dependent ones, nibble by nibble.
#ifndef PCSIM_L2_FDBHASH_H
#define PCSIM_L2_FDBHASH_H

#include <array>

#include "platform/base/export.h"
#include "platform/l2/pcSimFdb.h"

namespace pcsim {

// What a byte contributes at one position of the address.
using FdbContribution = std::array<uint16_t, 256>;
extern PCSIM_HIDDEN const std::array<FdbContribution, HAL_MAC_LENGTH> kFdbContributions;

// The library's own pcSimFdbHash, whatever the dynamic symbol leads to.
extern "C" PCSIM_HIDDEN uint32_t pcSimOwnFdbHash(const uint8_t* mac) noexcept;

[[gnu::always_inline]] inline uint32_t crcOfAddress(const uint8_t* mac) noexcept {
    const auto& at = kFdbContributions;
    return static_cast<uint32_t>(at[0][mac[0]] ^ at[1][mac[1]] ^ at[2][mac[2]] ^ at[3][mac[3]] ^
                                 at[4][mac[4]] ^ at[5][mac[5]]);
}

// pcSimFdbHash, without a call unless a host has a definition of its own: every search starts here.
[[gnu::always_inline]] inline uint32_t hashOfAddress(const uint8_t* mac) noexcept {
    HalFdbHashFn* const visible = pcSimFdbHash;
    if (visible == pcSimOwnFdbHash) [[likely]]
        return crcOfAddress(mac);
    return visible(mac);
}

}  // namespace pcsim

#endif
