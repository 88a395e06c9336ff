// The hash of an address: CRC-16/ARC over its six bytes, read from one table per byte position.
//
// The CRC starts at 0 and nothing is XORed at the end, so it is linear: the CRC of six bytes is the
// XOR of what each byte contributes at its position. Six independent look-ups take the place of a
// chain of twelve dependent ones, nibble by nibble.
#include <array>

#include "platform/l2/pcSimFdb.h"

namespace pcsim {
namespace {

constexpr uint16_t kPolynomial = 0xA001;  // 0x8005, reflected

// What a byte contributes at one position of the address.
using Contribution = std::array<uint16_t, 256>;

constexpr uint16_t crcOfByte(uint32_t byte) noexcept {
    uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
    return static_cast<uint16_t>(crc);
}

// The last byte counts as it is; one that has a byte behind it is carried on by a zero byte.
constexpr std::array<Contribution, HAL_MAC_LENGTH> makeContributions() noexcept {
    std::array<Contribution, HAL_MAC_LENGTH> tables{};
    Contribution& last = tables[HAL_MAC_LENGTH - 1];
    for (uint32_t byte = 0; byte < 256; ++byte) last[byte] = crcOfByte(byte);
    for (uint32_t position = HAL_MAC_LENGTH - 1; position-- > 0;) {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            const uint32_t crc = tables[position + 1][byte];
            tables[position][byte] = static_cast<uint16_t>((crc >> 8) ^ last[crc & 0xFF]);
        }
    }
    return tables;
}

constexpr std::array<Contribution, HAL_MAC_LENGTH> kContributions = makeContributions();

}  // namespace
}  // namespace pcsim

using namespace pcsim;

uint32_t pcSimFdbHash(const uint8_t* mac) noexcept {
    return static_cast<uint32_t>(kContributions[0][mac[0]] ^ kContributions[1][mac[1]] ^
                                 kContributions[2][mac[2]] ^ kContributions[3][mac[3]] ^
                                 kContributions[4][mac[4]] ^ kContributions[5][mac[5]]);
}
