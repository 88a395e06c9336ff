// Reading a line of a MAC table, without a copy of its words.
#include "host/l2/mac_line.h"

#include <fmt/core.h>

#include "console/text.h"
#include "host/core/records.h"

namespace pcsim::host {

LineKind parseMacLine(std::string_view line, MacLine& result, std::string& problem) {
    std::string_view rest = line.substr(0, line.find('#'));
    const std::string_view mac = takeWord(rest);
    if (mac.empty()) return LineKind::kNothing;
    const std::string_view vlan = takeWord(rest), port = takeWord(rest), type = takeWord(rest),
                           more = takeWord(rest);
    uint64_t vlanId = 0;
    result.hasAddress = readMac(mac, result.mac);
    if (!result.hasAddress)
        problem = fmt::format("'{}' is not a MAC address", shown(mac));
    else if (port.empty())
        problem = "the line is not complete; expected MAC VLAN SLOT:PORT [static]";
    else if (!readNumber(vlan, kLastVlan, vlanId) || vlanId == 0)
        problem = fmt::format("VLAN '{}' is not a number from 1 to {}", shown(vlan), kLastVlan);
    else if (!readSlotPort(port, result.port))
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
