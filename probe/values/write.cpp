// Writing values.
#include "probe/values/write.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "console/error.h"
#include "console/mac_address.h"
#include "console/text.h"
#include "console/values.h"
#include "pcsim/l3.h"
#include "probe/values/forms.h"
#include "probe/values/inputs.h"
#include "probe/values/shorthands.h"

namespace pcsim::probe {

namespace {

[[noreturn]] void failWritten(const Written& written, const std::string& expected) {
    fail("{} '{}' has another form; expected {}", shown(written.name), shown(written.value),
         expected);
}

bool readFlag(const std::string& word, int64_t& value) {
    if (word == "on" || word == "yes") value = 1;
    if (word == "off" || word == "no") value = 0;
    return word == "on" || word == "yes" || word == "off" || word == "no";
}

void putText(const Written& written, const Type& type, char* at) {
    if (written.value.size() >= type.size) failWritten(written, wholeForm(type, Meaning::kText));
    std::ranges::copy(written.value, at);
}

void putBytes(const Written& written, const Type& type, char* at) {
    std::string_view digits = written.value;
    const bool hasPrefix = digits.starts_with("0x");
    if (hasPrefix) digits.remove_prefix(2);
    const bool fits = hasPrefix && digits.size() % 2 == 0 && digits.size() / 2 <= type.size &&
                      digits.find_first_not_of("0123456789abcdefABCDEF") == digits.npos;
    if (!fits) failWritten(written, wholeForm(type, Meaning::kNone));
    for (size_t i = 0; i < digits.size(); i += 2)
        at[i / 2] = static_cast<char>(std::stoul(std::string(digits.substr(i, 2)), nullptr, 16));
}

const ShortItem* itemOf(const Record& record, std::string_view field) {
    const Shorthand* const shorthand = probe::shorthandOf(record.name);
    if (shorthand == nullptr) return nullptr;
    for (const ShortItem& item : shorthand->items) {
        const bool isMeant =
            item.joined != Joined::kAlone &&
            (item.field == field || (item.joined == Joined::kSlotPort && item.second == field));
        if (isMeant) return &item;
    }
    return nullptr;
}

void put(const Record& record, std::string_view field, uint32_t value, char* at) {
    const Field& own = *record.field(field);
    std::memcpy(at + own.offset, &value, own.type->size);
}

}  // namespace

void writeInteger(const Written& written, const Type& type, Meaning meaning,
                  const Supplies& supplies, char* at) {
    int64_t number = 0;
    const bool reads = supplies.number(meaning, written.value, number) ||
                       (meaning == Meaning::kFlag && readFlag(written.value, number)) ||
                       readInteger(written.value, meaning, type, number);
    if (!reads) failWritten(written, expectedForm(meaning, type));
    std::memcpy(at, &number, std::min<size_t>(type.size, sizeof number));
}

void writeMac(const Written& written, char* at) {
    MacAddress mac{};
    if (!readMac(written.value, mac)) failWritten(written, expectedForm(Meaning::kMac, kWordType));
    std::ranges::copy(mac, at);
}

std::string wholeForm(const Type& type, Meaning meaning) {
    switch (meaning) {
        case Meaning::kText:
            return fmt::format("a text of at most {} bytes", type.size - 1);
        case Meaning::kNone:
            return fmt::format("0x and at most {} bytes in hex", type.size);
        case Meaning::kAddress:
            return "an address, such as 10.0.0.1 or 2001:db8::1";
        default:
            return expectedForm(meaning, type);
    }
}

void writeWhole(const Written& written, const Type& type, Meaning meaning, char* at) {
    if (meaning == Meaning::kText) return putText(written, type, at);
    if (meaning == Meaning::kMac) return writeMac(written, at);
    if (meaning != Meaning::kIpv6 && meaning != Meaning::kAddress)
        return putBytes(written, type, at);
    const IpAddress address = parseAddress(written.value);
    if (meaning == Meaning::kIpv6 && !address.v6)
        failWritten(written, expectedForm(Meaning::kIpv6, type));
    std::ranges::copy(address.bytes, at);
}

bool writeJoined(const Written& written, const Record& record, const Field& field, char* at) {
    if (field.semantics.meaning == Meaning::kAddress) {
        // The family stands beside the address.
        const IpAddress address = parseAddress(written.value);
        const Field& family = record.fields[field.semantics.countIndex];
        std::ranges::copy(address.bytes, at + field.offset);
        if (!address.v6) put(record, family.name, HAL_IP_FAMILY_IPV4, at);
        return true;
    }
    const ShortItem* const item = itemOf(record, field.name);
    if (item == nullptr) return false;
    if (item->joined == Joined::kSlotPort) {
        SlotPort port{};
        if (!readSlotPort(written.value, port) || port.slot > UINT16_MAX || port.port > UINT16_MAX)
            return false;
        put(record, item->field, port.slot, at);
        put(record, item->second, port.port, at);
        return true;
    }
    if (written.value.find('/') == std::string::npos) return false;
    const IpPrefix prefix = parsePrefix(written.value);
    if (prefix.address.v6 != (item->joined == Joined::kLength))
        failWritten(written, item->joined == Joined::kLength ? "an IPv6 prefix" : "an IPv4 prefix");
    std::copy_n(prefix.address.bytes.begin(), field.type->size, at + field.offset);
    put(record, item->second, prefix.address.v6 ? prefix.length : prefix.mask, at);
    return true;
}

}  // namespace pcsim::probe
