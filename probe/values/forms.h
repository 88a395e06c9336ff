// Single values as they are written, by what they stand for, and how they are read back. The forms
// are those of the console: what a trace shows can be typed into a rule.
#ifndef PCSIM_PROBE_VALUES_FORMS_H
#define PCSIM_PROBE_VALUES_FORMS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

// "1:3", "trunk:2", "mgmt:1:1"; of other types the number in hexadecimal.
std::string portText(uint32_t instance);
// "10.0.0.0/8", "10.0.0.0/255.0.255.0"; both in network byte order.
std::string prefixText(uint32_t address, uint32_t mask);
std::string ipv6Text(const void* bytes);
// Whether an address that may be of either family is IPv4: a HAL need not say so where nobody asks,
// but then nothing follows the first word.
bool isIpv4(const void* bytes, int64_t family);
std::string macAddressText(const void* bytes);
// In quotes, with what is not printable escaped; a long one is cut.
std::string quoted(std::string_view text);
// "0x00ff..", with its length when it is cut.
std::string bytesText(const void* bytes, uint32_t count);
// An integer that stands for 'meaning', of 'bytes' bytes.
std::string integerText(int64_t value, Meaning meaning, uint32_t bytes);

// Names in a row, for a message; not all when they are many.
std::string listed(const std::vector<std::string>& names);

// Whether values of this kind are written as plain numbers.
bool isPlainNumber(Meaning meaning);
// "a port, such as 1:3": what is expected where 'word' doesn't fit.
std::string expectedForm(Meaning meaning, const Type& type);
// Reads an integer of 'type' that stands for 'meaning'; false when the word has another form or the
// type can't hold it. A plain number fits everywhere.
bool readInteger(std::string_view word, Meaning meaning, const Type& type, int64_t& value);

}  // namespace pcsim::probe

#endif
