// Makes the tables that the hash of an address is read from.
#include "platform/l2/fdbHash.h"

namespace pcsim {
namespace {

constexpr uint16_t kPolynomial = 0xA001;  // 0x8005, reflected

constexpr uint16_t crcOfByte(uint32_t byte) noexcept {
    uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
    return static_cast<uint16_t>(crc);
}

// The last byte counts as it is; one that has a byte behind it is carried on by a zero byte.
constexpr std::array<FdbContribution, HAL_MAC_LENGTH> makeContributions() noexcept {
    std::array<FdbContribution, HAL_MAC_LENGTH> tables{};
    FdbContribution& last = tables[HAL_MAC_LENGTH - 1];
    for (uint32_t byte = 0; byte < 256; ++byte) last[byte] = crcOfByte(byte);
    for (uint32_t position = HAL_MAC_LENGTH - 1; position-- > 0;) {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            const uint32_t crc = tables[position + 1][byte];
            tables[position][byte] = static_cast<uint16_t>((crc >> 8) ^ last[crc & 0xFF]);
        }
    }
    return tables;
}

}  // namespace

constinit const std::array<FdbContribution, HAL_MAC_LENGTH> kFdbContributions = makeContributions();

}  // namespace pcsim

using namespace pcsim;

uint32_t pcSimFdbHash(const uint8_t* mac) noexcept {
    return crcOfAddress(mac);
}

extern "C" uint32_t pcSimOwnFdbHash(const uint8_t* mac) noexcept
    __attribute__((alias("pcSimFdbHash")));
