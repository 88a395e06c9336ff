// Values that people type: their forms, and the line that says what is wrong with a bad one.
// Each parser throws a CommandError; 'what' names the value in it.
#ifndef PCSIM_CONSOLE_VALUES_H
#define PCSIM_CONSOLE_VALUES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace pcsim {

struct SlotPort {
    uint32_t slot;
    uint32_t port;
};

// An IP address in network byte order; an IPv4 address fills the first 4 bytes.
struct IpAddress {
    bool v6 = false;
    std::array<uint8_t, 16> bytes{};

    uint32_t v4() const;  // network byte order
    std::string text() const;
};

// ADDRESS/LENGTH, or for IPv4 also ADDRESS/MASK with a mask of any form.
struct IpPrefix {
    IpAddress address;
    uint32_t length = 0;  // leading ones of the mask
    uint32_t mask = 0;    // IPv4 alone, network byte order

    // With a length, or with the mask itself when it has gaps.
    std::string text() const;
    // The same with the bits outside of its mask cleared.
    IpPrefix masked() const;
};

// Decimal digits alone, of a number up to 'highest'. False when 'word' is anything else.
bool readNumber(std::string_view word, uint64_t highest, uint64_t& value);
// SLOT:PORT. False when 'word' is none.
bool readSlotPort(std::string_view word, SlotPort& port);

uint64_t parseNumber(const std::string& what, const std::string& word, uint64_t low, uint64_t high);
// The same with a sign: from -high to high.
int64_t parseSigned(const std::string& what, const std::string& word, int64_t high);
uint32_t parseU32(const std::string& what, const std::string& word);
SlotPort parseSlotPort(const std::string& word);
IpAddress parseIpv4(const std::string& word);
IpAddress parseAddress(const std::string& word);
// The address of one station, of either family: neither unspecified nor multicast nor broadcast.
void checkStation(const IpAddress& address);
IpPrefix parsePrefix(const std::string& word);
// Fails when the prefix has bits outside of its mask.
void checkMasked(const IpPrefix& prefix);

// Texts of IPv4 addresses and prefixes in network byte order.
std::string ipv4Text(uint32_t address);
std::string ipv4Text(uint32_t address, uint32_t mask);

}  // namespace pcsim

#endif
