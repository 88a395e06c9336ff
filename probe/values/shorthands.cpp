// The forms of records.
#include "probe/values/shorthands.h"

#include <algorithm>
#include <iterator>

namespace pcsim::probe {

namespace {

constexpr bool kAlways = true;

constexpr ShortItem kVlanIf[] = {
    {"vlan", "vlanId", Joined::kAlone, nullptr, kAlways},
    {"instance", "instance", Joined::kAlone, nullptr, kAlways},
};
constexpr ShortItem kPif[] = {
    {"port", "instance", Joined::kAlone, nullptr, kAlways},
    {"trunk", "trunkInstance"},
};
constexpr ShortItem kVpif[] = {
    {"", "pif"},
    {"", "vlanIf"},
    {"state", "state"},
    {"flags", "flags"},
};
constexpr ShortItem kFdbKey[] = {
    {"vlanInstance", "vlanInstance", Joined::kAlone, nullptr, kAlways},
    {"mac", "mac", Joined::kAlone, nullptr, kAlways},
};
constexpr ShortItem kFdbRecord[] = {
    {"vlanInstance", "vlanInstance", Joined::kAlone, nullptr, kAlways},
    {"mac", "mac", Joined::kAlone, nullptr, kAlways},
    {"port", "port"},
    {"valueA", "valueA"},
    {"valueB", "valueB"},
};
constexpr ShortItem kSlot4[] = {
    {"via", "gateway", Joined::kAlone, nullptr, kAlways},
    {"vlan", "vlan", Joined::kAlone, nullptr, kAlways},
};
constexpr ShortItem kRequest4[] = {
    {"vr", "vrId", Joined::kAlone, nullptr, kAlways},
    {"", "prefix", Joined::kMask, "mask", kAlways},
    {"", "slots", Joined::kAlone, nullptr, kAlways},
};
constexpr ShortItem kRequest6[] = {
    {"vr", "vrId", Joined::kAlone, nullptr, kAlways},
    {"", "prefix", Joined::kLength, "maskLen", kAlways},
    {"", "slots", Joined::kAlone, nullptr, kAlways},
};
constexpr ShortItem kAdjacency[] = {
    {"vr", "vrId", Joined::kAlone, nullptr, kAlways},
    {"", "ipAddr", Joined::kAlone, nullptr, kAlways},
    {"vlan", "vlan", Joined::kAlone, nullptr, kAlways},
    {"mac", "mac"},
    {"port", "port"},
};
constexpr ShortItem kMcastKey[] = {
    {"vr", "vr", Joined::kAlone, nullptr, kAlways},
    {"group", "group"},
    {"source", "source"},
    {"vlanInstance", "incomingVlan"},
};
constexpr ShortItem kMcastRequest[] = {{"", "key", Joined::kAlone, nullptr, kAlways},
                                       {"", "outgoing"}};
constexpr ShortItem kMcastOutgoing[] = {
    {"to", "slot", Joined::kSlotPort, "port", kAlways},
    {"vlanInstance", "vlanInstance", Joined::kAlone, nullptr, kAlways},
    {"portWord", "portWord"},
    {"vlanWord", "vlanWord"},
};
constexpr ShortItem kSamplePort[] = {
    {"port", "slot", Joined::kSlotPort, "port", kAlways},
};

constexpr Shorthand kShorthands[] = {
    {"HalVlanIf", kVlanIf},
    {"HalPif", kPif},
    {"HalVpif", kVpif},
    {"HalFdbKey", kFdbKey},
    {"HalFdbRecord", kFdbRecord},
    {"pcSimIPv4FibSlot", kSlot4},
    {"pcSimIPv4FibReq", kRequest4},
    {"pcSimIPv6FibSlot", kSlot4},
    {"pcSimIPv6FibReq", kRequest6},
    {"pcSimIpAdjRec", kAdjacency},
    {"HalMcastKey", kMcastKey},
    {"HalMcastRequest", kMcastRequest},
    {"HalMcastOutgoing", kMcastOutgoing},
    {"HalSamplePort", kSamplePort},
};

}  // namespace

const Shorthand* shorthandOf(std::string_view record) {
    const auto* const found = std::ranges::find(kShorthands, record, &Shorthand::record);
    return found != std::end(kShorthands) ? found : nullptr;
}

}  // namespace pcsim::probe
