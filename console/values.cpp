// Parsers of typed values.
#include "console/values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <optional>

#include "console/error.h"
#include "console/grammar.h"

namespace pcsim::host {

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

SlotPort parseSlotPort(const std::string& word) {
    const size_t colon = word.find(':');
    if (colon != std::string::npos) {
        const auto slot = number(std::string_view(word).substr(0, colon), 10);
        const auto port = number(std::string_view(word).substr(colon + 1), 10);
        if (slot && port && *slot <= 0xFFFF && *port <= 0xFFFF)
            return {static_cast<uint32_t>(*slot), static_cast<uint32_t>(*port)};
    }
    fail("'{}' is not a port; expected SLOT:PORT, for example 1:2", word);
}

std::string macText(const uint8_t* mac) {
    return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", mac[0], mac[1], mac[2], mac[3],
                       mac[4], mac[5]);
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
    return fmt::format("{}/{}", address.text(), length);
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

std::optional<std::string> valueProblem(const std::string& type, const std::string& name,
                                        const std::string& word) {
    if (type.find('|') != std::string::npos) {
        for (size_t start = 0; start <= type.size();) {
            const size_t end = std::min(type.find('|', start), type.size());
            if (type.compare(start, end - start, word) == 0 && end - start == word.size())
                return std::nullopt;
            start = end + 1;
        }
        return fmt::format("'{}' is not known here; expected {}", word, type);
    }
    try {
        const size_t dash = type.find('-');
        if (dash != std::string::npos)
            parseNumber(name, word, std::stoull(type.substr(0, dash)),
                        std::stoull(type.substr(dash + 1)));
        else if (type == "port")
            parseSlotPort(word);
        else if (type == "vlan")
            parseNumber("VLAN", word, 1, 4094);
        else if (type == "u32")
            parseU32(name, word);
        else if (type == "ipv4")
            parseIpv4(word);
        else if (type == "address")
            parseAddress(word);
        else if (type == "prefix")
            parsePrefix(word);
    } catch (const CommandError& error) {
        return error.what();
    }
    return std::nullopt;
}

}  // namespace pcsim::host
