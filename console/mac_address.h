// MAC addresses as they are written: 00:11:22:aa:bb:cc, 00-11-22-aa-bb-cc or 0011.22aa.bbcc.
#ifndef PCSIM_CONSOLE_MAC_ADDRESS_H
#define PCSIM_CONSOLE_MAC_ADDRESS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace pcsim {

using MacAddress = std::array<uint8_t, 6>;

// "00:11:22:aa:bb:cc"
std::string macText(const uint8_t* mac);

// The one parser, of each of these notations. False when 'word' is none.
bool readMac(std::string_view word, MacAddress& mac);
// The address that a word names, or a CommandError.
MacAddress macOf(const std::string& word);
// Fails unless a MAC table can hold 'mac': never all zeros, and multicast and broadcast addresses
// only when they are configured, since nothing sends from them.
void checkTableMac(const MacAddress& mac, bool isStatic);
// Fails unless 'mac' is the address of one station.
void checkStation(const MacAddress& mac);

}  // namespace pcsim

#endif
