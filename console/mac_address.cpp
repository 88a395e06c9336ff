// The notations of MAC addresses.
#include "console/mac_address.h"

#include <fmt/core.h>

#include <algorithm>

#include "console/error.h"
#include "console/text.h"

namespace pcsim {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string macText(const uint8_t* mac) {
    return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", mac[0], mac[1], mac[2], mac[3],
                       mac[4], mac[5]);
}

bool readMac(std::string_view word, MacAddress& mac) {
    const bool dotted = word.size() == 14 && word[4] == '.' && word[9] == '.';
    if (!dotted && word.size() != 17) return false;
    const size_t group = dotted ? 4 : 2;
    const char separator = dotted ? '.' : word[2];
    if (!dotted && separator != ':' && separator != '-') return false;
    size_t digits = 0;
    for (size_t i = 0; i < word.size(); ++i) {
        if (i % (group + 1) == group) {
            if (word[i] != separator) return false;
            continue;
        }
        const int digit = hexDigit(word[i]);
        if (digit < 0) return false;
        uint8_t& byte = mac[digits++ / 2];
        byte = static_cast<uint8_t>(byte << 4 | digit);
    }
    return digits == 12;
}

MacAddress macOf(const std::string& word) {
    MacAddress mac{};
    if (!readMac(word, mac))
        fail("'{}' is not a MAC address; expected six bytes as 00:11:22:aa:bb:cc", shown(word));
    return mac;
}

namespace {

// What kind of address it is that is no station's, or null.
const char* groupKind(const MacAddress& mac) {
    const bool broadcast =
        std::all_of(mac.begin(), mac.end(), [](uint8_t byte) { return byte == 0xFF; });
    return broadcast           ? "the broadcast address"
           : (mac[0] & 1) != 0 ? "a multicast address"
                               : nullptr;
}

void checkNotZero(const MacAddress& mac) {
    if (mac == MacAddress{})
        fail("{} is all zeros; expected the address of one station", macText(mac.data()));
}

}  // namespace

void checkTableMac(const MacAddress& mac, bool isStatic) {
    checkNotZero(mac);
    const char* const kind = groupKind(mac);
    if (kind != nullptr && !isStatic)
        fail("{} is {}, which is never learned; 'static' configures it", macText(mac.data()), kind);
}

void checkStation(const MacAddress& mac) {
    checkNotZero(mac);
    if (const char* const kind = groupKind(mac))
        fail("{} is {}; expected the address of one station", macText(mac.data()), kind);
}

}  // namespace pcsim
