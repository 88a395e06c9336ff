// Reading a line of a MAC table, without a copy of its words.
#include "host/l2/mac_line.h"

#include <algorithm>

#include "console/error.h"
#include "console/present.h"

namespace pcsim::host {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr uint32_t kLastVlan = 4094;

// The next word of the line; empty at its end.
std::string_view nextWord(std::string_view& rest) {
    const size_t start = rest.find_first_not_of(kBlanks);
    if (start == std::string_view::npos) {
        rest = {};
        return rest;
    }
    const size_t end = std::min(rest.find_first_of(kBlanks, start), rest.size());
    const std::string_view word = rest.substr(start, end - start);
    rest.remove_prefix(end);
    return word;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool readNumber(std::string_view word, uint32_t highest, uint32_t& value) {
    if (word.empty() || word.size() > 9) return false;
    value = 0;
    for (const char c : word) {
        if (c < '0' || c > '9') return false;
        value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    return value <= highest;
}

bool readPort(std::string_view word, SlotPort& port) {
    const size_t colon = word.find(':');
    return colon != std::string_view::npos &&
           readNumber(word.substr(0, colon), 0xFFFF, port.slot) &&
           readNumber(word.substr(colon + 1), 0xFFFF, port.port);
}

}  // namespace

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

MacAddress stationMacOf(const std::string& word) {
    const MacAddress mac = macOf(word);
    const auto all = [&](uint8_t value) {
        return std::all_of(mac.begin(), mac.end(), [=](uint8_t byte) { return byte == value; });
    };
    const char* const kind = all(0)              ? "all zeros"
                             : all(0xFF)         ? "the broadcast address"
                             : (mac[0] & 1) != 0 ? "a multicast address"
                                                 : nullptr;
    if (kind != nullptr)
        fail("{} is {}; expected the address of one station", macText(mac.data()), kind);
    return mac;
}

LineKind parseMacLine(std::string_view line, MacLine& result, std::string& problem) {
    std::string_view rest = line.substr(0, line.find('#'));
    const std::string_view mac = nextWord(rest);
    if (mac.empty()) return LineKind::kNothing;
    const std::string_view vlan = nextWord(rest), port = nextWord(rest), type = nextWord(rest),
                           more = nextWord(rest);
    uint32_t vlanId = 0;
    result.hasAddress = readMac(mac, result.mac);
    if (!result.hasAddress)
        problem = fmt::format("'{}' is not a MAC address", shown(mac));
    else if (port.empty())
        problem = "the line is not complete; expected MAC VLAN SLOT:PORT [static]";
    else if (!readNumber(vlan, kLastVlan, vlanId) || vlanId == 0)
        problem = fmt::format("VLAN '{}' is not a number from 1 to {}", shown(vlan), kLastVlan);
    else if (!readPort(port, result.port))
        problem = fmt::format("'{}' is not a port; expected SLOT:PORT", shown(port));
    else if (!type.empty() && type != "static" && type != "dynamic")
        problem = fmt::format("'{}' is not known; expected static or dynamic", shown(type));
    else if (!more.empty())
        problem = fmt::format("'{}' is too much", shown(more));
    else {
        result.vlanId = static_cast<uint16_t>(vlanId);
        result.isStatic = type == "static";
        return LineKind::kEntry;
    }
    return LineKind::kBad;
}

}  // namespace pcsim::host
