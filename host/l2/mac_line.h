// MAC addresses as they are written, and a line of a MAC table file:
//     MAC VLAN SLOT:PORT [static|dynamic]
//
// The MAC address is written 00:11:22:aa:bb:cc, 00-11-22-aa-bb-cc or 0011.22aa.bbcc. Blank lines
// and what follows a # do not count.
#ifndef PCSIM_HOST_L2_MAC_LINE_H
#define PCSIM_HOST_L2_MAC_LINE_H

#include <string>
#include <string_view>

#include "console/values.h"

namespace pcsim::host {

struct MacLine {
    MacAddress mac{};
    uint16_t vlanId = 0;
    SlotPort port{};
    bool isStatic = false;
    bool hasAddress = false;  // it begins with a MAC address, whatever follows
};

enum class LineKind { kEntry, kNothing, kBad };

// The one parser of MAC addresses, in each of these notations. False when 'word' is none.
bool readMac(std::string_view word, MacAddress& mac);
// The address that a word names, or a CommandError.
MacAddress macOf(const std::string& word);
// The same of what is behind a port: neither multicast nor broadcast, nor all zeros.
MacAddress stationMacOf(const std::string& word);

// Reads one line without its end. 'problem' is set for a bad one.
LineKind parseMacLine(std::string_view line, MacLine& result, std::string& problem);

}  // namespace pcsim::host

#endif
