// Parsers of typed values.
#include "console/values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <optional>

#include "console/error.h"

namespace pcsim {

namespace {

std::optional<uint64_t> number(std::string_view text, int base) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

}  // namespace

uint64_t parseNumber(const std::string& what, const std::string& word, uint64_t low,
                     uint64_t high) {
    const auto value = number(word, 10);
    if (!value || *value < low || *value > high)
        fail("{} '{}' is not a number from {} to {}", what, word, low, high);
    return *value;
}

int64_t parseSigned(const std::string& what, const std::string& word, int64_t high) {
    const bool negative = word.starts_with("-");
    const auto value = number(std::string_view(word).substr(negative ? 1 : 0), 10);
    if (!value || *value > static_cast<uint64_t>(high))
        fail("{} '{}' is not a number from {} to {}", what, word, -high, high);
    return negative ? -static_cast<int64_t>(*value) : static_cast<int64_t>(*value);
}

uint32_t parseU32(const std::string& what, const std::string& word) {
    const bool hex = word.starts_with("0x") || word.starts_with("0X");
    const auto value = hex ? number(std::string_view(word).substr(2), 16) : number(word, 10);
    if (!value || *value > 0xFFFFFFFFu)
        fail("{} '{}' is not a 32-bit number; expected decimal or 0x and hexadecimal digits", what,
             word);
    return static_cast<uint32_t>(*value);
}

bool readNumber(std::string_view word, uint64_t highest, uint64_t& value) {
    const auto read = number(word, 10);
    if (!read || *read > highest) return false;
    value = *read;
    return true;
}

bool readSlotPort(std::string_view word, SlotPort& port) {
    const size_t colon = word.find(':');
    uint64_t slot, number;
    if (colon == std::string_view::npos || !readNumber(word.substr(0, colon), 0xFFFF, slot) ||
        !readNumber(word.substr(colon + 1), 0xFFFF, number))
        return false;
    port = {static_cast<uint32_t>(slot), static_cast<uint32_t>(number)};
    return true;
}

SlotPort parseSlotPort(const std::string& word) {
    SlotPort port{};
    if (!readSlotPort(word, port))
        fail("'{}' is not a port; expected SLOT:PORT, for example 1:2", word);
    return port;
}

uint32_t IpAddress::v4() const {
    uint32_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    return word;
}

std::string IpAddress::text() const {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(v6 ? AF_INET6 : AF_INET, bytes.data(), text, sizeof text);
}

std::string IpPrefix::text() const {
    if (!address.v6) return ipv4Text(address.v4(), mask);
    return fmt::format("{}/{}", address.text(), length);
}

IpPrefix IpPrefix::masked() const {
    IpPrefix result = *this;
    const auto* const bits = reinterpret_cast<const uint8_t*>(&mask);
    for (uint32_t i = 0; i < (address.v6 ? 16u : 4u); ++i) {
        const uint32_t kept = std::clamp<uint32_t>(length, 8 * i, 8 * i + 8) - 8 * i;
        result.address.bytes[i] &= address.v6 ? static_cast<uint8_t>(0xFF00u >> kept) : bits[i];
    }
    return result;
}

void checkMasked(const IpPrefix& prefix) {
    const IpPrefix masked = prefix.masked();
    if (masked.address.bytes != prefix.address.bytes)
        fail("prefix {} has bits outside of its mask; expected {}", prefix.text(), masked.text());
}

namespace {

// Files of routes are made of these texts, so no library that knows all forms is asked.
char* putIpv4(char* at, uint32_t address) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&address);
    for (int i = 0; i < 4; ++i) {
        if (i != 0) *at++ = '.';
        at = std::to_chars(at, at + 3, bytes[i]).ptr;
    }
    return at;
}

}  // namespace

std::string ipv4Text(uint32_t address) {
    char text[INET_ADDRSTRLEN];
    return {text, putIpv4(text, address)};
}

std::string ipv4Text(uint32_t address, uint32_t mask) {
    const uint32_t bits = ntohl(mask);
    const int length = std::countl_one(bits);
    const bool hasGaps = length + std::countr_zero(bits) < 32;
    char text[2 * INET_ADDRSTRLEN];
    char* end = putIpv4(text, address);
    *end++ = '/';
    end = hasGaps ? putIpv4(end, mask) : std::to_chars(end, end + 2, length).ptr;
    return {text, end};
}

IpAddress parseIpv4(const std::string& word) {
    IpAddress address;
    if (inet_pton(AF_INET, word.c_str(), address.bytes.data()) != 1)
        fail("'{}' is not an IPv4 address; expected four numbers as 10.0.0.1", word);
    return address;
}

IpAddress parseAddress(const std::string& word) {
    IpAddress address;
    if (inet_pton(AF_INET, word.c_str(), address.bytes.data()) == 1) return address;
    address.v6 = true;
    if (inet_pton(AF_INET6, word.c_str(), address.bytes.data()) != 1)
        fail("'{}' is not an IP address; expected 10.0.0.1 or fe80::1", word);
    return address;
}

void checkStation(const IpAddress& address) {
    const uint32_t v4 = ntohl(address.v4());
    const bool multicast = address.v6 ? address.bytes[0] == 0xFF : v4 >> 28 == 0xE;
    const bool zero = std::all_of(address.bytes.begin(), address.bytes.end(),
                                  [](uint8_t byte) { return byte == 0; });
    const char* const kind = zero                              ? "unspecified"
                             : multicast                       ? "a multicast address"
                             : !address.v6 && v4 == 0xFFFFFFFF ? "the broadcast address"
                                                               : nullptr;
    if (kind != nullptr)
        fail("{} is {}; expected the address of one station", address.text(), kind);
}

IpPrefix parsePrefix(const std::string& word) {
    const size_t slash = word.find('/');
    IpPrefix prefix;
    if (slash != std::string::npos) {
        const std::string rest = word.substr(slash + 1);
        bool good = true;
        try {
            prefix.address = parseAddress(word.substr(0, slash));
        } catch (const CommandError&) {
            good = false;
        }
        const uint32_t longest = prefix.address.v6 ? 128 : 32;
        const auto length = number(rest, 10);
        if (good && length && *length <= longest) {
            prefix.length = static_cast<uint32_t>(*length);
            if (!prefix.address.v6)
                prefix.mask = prefix.length == 0 ? 0 : htonl(~uint32_t{0} << (32 - prefix.length));
            return prefix;
        }
        if (good && !prefix.address.v6 && inet_pton(AF_INET, rest.c_str(), &prefix.mask) == 1) {
            prefix.length = static_cast<uint32_t>(std::countl_one(ntohl(prefix.mask)));
            return prefix;
        }
    }
    fail("'{}' is not a prefix; expected 10.1.0.0/16, 10.1.0.0/255.255.0.0 or fd00:1::/32", word);
}

}  // namespace pcsim
