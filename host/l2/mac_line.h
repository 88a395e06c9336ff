// A line of a MAC table file:
//     MAC VLAN SLOT:PORT [static|dynamic]
//
// Blank lines and what follows a # do not count.
#ifndef PCSIM_HOST_L2_MAC_LINE_H
#define PCSIM_HOST_L2_MAC_LINE_H

#include <string>
#include <string_view>

#include "console/mac_address.h"
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

// Reads one line without its end. 'problem' is set for a bad one.
LineKind parseMacLine(std::string_view line, MacLine& result, std::string& problem);

}  // namespace pcsim::host

#endif
