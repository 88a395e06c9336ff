// The forms of values.
#include "probe/values/forms.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "console/mac_address.h"
#include "console/values.h"
#include "pcsim/host_records.h"
#include "pcsim/l3.h"

namespace pcsim::probe {

namespace {

constexpr size_t kLongestText = 200;
constexpr size_t kNamesTold = 30;
constexpr uint32_t kLongestBytes = 32;
constexpr std::string_view kTrunk = "trunk:";
constexpr std::string_view kManagement = "mgmt:";

uint32_t portOf(uint32_t type, const SlotPort& port) {
    return type << 24 | port.slot << 16 | port.port;
}

bool fits(const SlotPort& port) {
    return port.slot <= 0xFF && port.port <= 0xFFFF;
}

bool readPort(std::string_view word, Meaning meaning, uint32_t& instance) {
    SlotPort port{};
    uint64_t trunk = 0;
    if (meaning == Meaning::kPort && word.starts_with(kTrunk)) {
        if (!readNumber(word.substr(kTrunk.size()), 0xFFFFFF, trunk)) return false;
        instance = HAL_PORT_TYPE_TRUNK << 24 | static_cast<uint32_t>(trunk);
        return true;
    }
    const bool management = meaning == Meaning::kPort && word.starts_with(kManagement);
    if (management) word.remove_prefix(kManagement.size());
    if (!readSlotPort(word, port) || !fits(port)) return false;
    instance = portOf(management ? HAL_PORT_TYPE_MANAGEMENT : HAL_PORT_TYPE_FRONT_PANEL, port);
    return true;
}

bool readAddress(std::string_view word, uint32_t& address) {
    in_addr read{};
    if (inet_pton(AF_INET, std::string(word).c_str(), &read) != 1) return false;
    address = read.s_addr;
    return true;
}

bool readPlain(std::string_view word, const Type& type, int64_t& value) {
    const bool negative = word.starts_with("-");
    if (negative) word.remove_prefix(1);
    const bool hex = word.starts_with("0x") || word.starts_with("0X");
    if (hex) word.remove_prefix(2);
    uint64_t read = 0;
    const char* const end = word.data() + word.size();
    const auto [last, error] = std::from_chars(word.data(), end, read, hex ? 16 : 10);
    if (error != std::errc() || last != end || word.empty()) return false;
    const uint32_t bits = 8 * std::min<uint32_t>(type.size, 8);
    // A word of either kind holds what is written: -1 where all bits are meant.
    const uint64_t most = bits == 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
    if (read > (negative ? most / 2 + 1 : most)) return false;
    value = static_cast<int64_t>(negative ? -read : read);
    return true;
}

}  // namespace

std::string portText(uint32_t instance) {
    const uint32_t type = instance >> 24;
    if (type == HAL_PORT_TYPE_TRUNK) return fmt::format("{}{}", kTrunk, instance & 0xFFFFFF);
    const auto slotPort = fmt::format("{}:{}", instance >> 16 & 0xFF, instance & 0xFFFF);
    if (type == HAL_PORT_TYPE_FRONT_PANEL) return slotPort;
    if (type == HAL_PORT_TYPE_MANAGEMENT) return std::string(kManagement) + slotPort;
    return fmt::format("{:#010x}", instance);
}

std::string prefixText(uint32_t address, uint32_t mask) {
    return ipv4Text(address, mask);
}

std::string ipv6Text(const void* bytes) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, bytes, text, sizeof text);
    return text;
}

bool isIpv4(const void* bytes, int64_t family) {
    HalIpAddress address;
    std::memcpy(&address, bytes, sizeof address);
    return family == HAL_IP_FAMILY_IPV4 ||
           (address.words[1] | address.words[2] | address.words[3]) == 0;
}

std::string macAddressText(const void* bytes) {
    return macText(static_cast<const uint8_t*>(bytes));
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text.substr(0, kLongestText)) {
        const auto byte = static_cast<uint8_t>(c);
        if (c == '"' || c == '\\')
            result += {'\\', c};
        else if (c == '\n')
            result += "\\n";
        else if (byte < 0x20 || byte >= 0x7F)
            result += fmt::format("\\x{:02x}", byte);
        else
            result += c;
    }
    result += '"';
    if (text.size() > kLongestText) result += fmt::format("... ({} bytes)", text.size());
    return result;
}

std::string bytesText(const void* bytes, uint32_t count) {
    std::string text = "0x";
    for (uint32_t i = 0; i < std::min(count, kLongestBytes); ++i)
        text += fmt::format("{:02x}", static_cast<const uint8_t*>(bytes)[i]);
    if (count > kLongestBytes) text += fmt::format("... ({} bytes)", count);
    return text;
}

std::string integerText(int64_t value, Meaning meaning, uint32_t bytes) {
    const auto word = static_cast<uint32_t>(value);
    switch (meaning) {
        case Meaning::kPort:
            return portText(word);
        case Meaning::kPortKey:
            return fmt::format("{}:{}", word >> 16, word & 0xFFFF);
        case Meaning::kIpv4:
        case Meaning::kMask:
            return ipv4Text(word);
        case Meaning::kHex:
            return fmt::format("{:#x}", bytes > 4 ? static_cast<uint64_t>(value) : word);
        default:
            return std::to_string(value);
    }
}

std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < std::min(names.size(), kNamesTold); ++i)
        text += (i == 0 ? "" : ", ") + names[i];
    return names.size() > kNamesTold ? text + ", ..." : text;
}

bool isPlainNumber(Meaning meaning) {
    switch (meaning) {
        case Meaning::kPort:
        case Meaning::kPortKey:
        case Meaning::kIpv4:
        case Meaning::kMask:
            return false;
        default:
            return true;
    }
}

std::string expectedForm(Meaning meaning, const Type& type) {
    switch (meaning) {
        case Meaning::kPort:
            return "a port, such as 1:3 or trunk:2";
        case Meaning::kPortKey:
            return "a port, such as 1:3";
        case Meaning::kIpv4:
            return "an IPv4 address, such as 10.0.0.1";
        case Meaning::kMask:
            return "a mask, such as 255.255.255.0";
        case Meaning::kMac:
            return "a MAC address, such as 00:11:22:aa:bb:cc";
        case Meaning::kIpv6:
            return "an IPv6 address, such as 2001:db8::1";
        case Meaning::kText:
            return "a text";
        default:
            return fmt::format("a number of {} bits", 8 * type.size);
    }
}

bool readInteger(std::string_view word, Meaning meaning, const Type& type, int64_t& value) {
    uint32_t special = 0;
    if (meaning == Meaning::kPort || meaning == Meaning::kPortKey) {
        if (readPort(word, meaning, special)) {
            value = special;
            return true;
        }
    } else if ((meaning == Meaning::kIpv4 || meaning == Meaning::kMask) &&
               readAddress(word, special)) {
        value = special;
        return true;
    }
    return readPlain(word, type, value);
}

}  // namespace pcsim::probe
