// Masks and texts of the two address families.
#include "host/l3/families.h"

#include <fmt/core.h>

namespace pcsim::host {

IPv6Family::Address IPv6Family::addressOf(const IpAddress& address) {
    Address result;
    std::memcpy(&result, address.bytes.data(), sizeof result);
    return result;
}

namespace {

// The bits of 'word' that a prefix of 'length' bits takes, as a mask in network byte order.
uint32_t maskOfWord(uint32_t length, uint32_t word) {
    if (length >= 32 * (word + 1)) return ~uint32_t{0};
    if (length <= 32 * word) return 0;
    return htonl(~uint32_t{0} << (32 - (length - 32 * word)));
}

}  // namespace

bool IPv6Family::contains(const Key& key, const Address& address) {
    for (uint32_t i = 0; i < 4; ++i)
        if (((address.words[i] ^ key.prefix.words[i]) & maskOfWord(key.length, i)) != 0)
            return false;
    return true;
}

std::string IPv6Family::text(const Address& address) {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, &address, text, sizeof text);
}

std::string IPv6Family::text(const Key& key) {
    return fmt::format("{}/{}", text(key.prefix), key.length);
}

}  // namespace pcsim::host
