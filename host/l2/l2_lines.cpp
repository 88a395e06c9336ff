// The lines of VLANs, trunks and the MAC table.
#include <algorithm>
#include <tuple>

#include "host/core/lines.h"
#include "host/l2/l2_manager.h"

namespace pcsim::host {

void L2Manager::forEachAddress(const std::function<void(const MacEntry&, uint32_t)>& see) {
    std::vector<const MacEntry*> entries;
    entries.reserve(fdb_.size());
    fdb_.forEach([&](uint32_t, const MacEntry& entry) { entries.push_back(&entry); });
    std::sort(entries.begin(), entries.end(), [](const MacEntry* a, const MacEntry* b) {
        return std::tie(a->vlanId, a->mac) < std::tie(b->vlanId, b->mac);
    });
    for (const MacEntry* entry : entries) {
        uint32_t port = entry->port;
        if (typeOf(port) == HAL_PORT_TYPE_TRUNK) {
            // An address is on a trunk only as long as one of its ports is in the VLAN.
            const VlanIf* vlan = context_.records.vlanByInstance(entry->vlanInstance);
            for (const auto& [instance, member] : vlan->members) {
                if (member->record.pif->trunkInstance != entry->port) continue;
                port = instance;
                break;
            }
        }
        see(*entry, port);
    }
}

void L2Manager::running(Lines& lines) {
    for (const auto& [id, vlan] : context_.records.vlans()) {
        lines.add(fmt::format("vlan create {}", id), fmt::format("vlan delete {}", id));
        for (const auto& [instance, tagged] : members_[id])
            lines.replace(
                fmt::format("vlan {} add {}{}", id, portName(instance), tagged ? " tagged" : ""),
                fmt::format("vlan {} remove {}", id, portName(instance)));
    }
    trunks_.running(lines);
    if (fdb_.ageS() != Fdb::kDefaultAgeS)
        lines.replace(fmt::format("fdb age {}", fdb_.ageS()),
                      fmt::format("fdb age {}", Fdb::kDefaultAgeS));
    forEachAddress([&](const MacEntry& entry, uint32_t port) {
        const std::string mac = macText(entry.mac.data());
        lines.add(fmt::format("fdb add {} vlan {} port {}{}", mac, entry.vlanId, portName(port),
                              entry.isStatic ? " static" : ""),
                  fmt::format("fdb del {} vlan {}", mac, entry.vlanId));
    });
}

}  // namespace pcsim::host
