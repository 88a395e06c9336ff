// The lines of multicast caches, and files of them.
#include <arpa/inet.h>

#include <algorithm>
#include <tuple>

#include "console/surroundings.h"
#include "console/values.h"
#include "host/core/lines.h"
#include "host/mcast/loader.h"
#include "host/mcast/mcast_manager.h"

namespace pcsim::host {

namespace {

// The first port that there is, in the form of the copy; 0 without any.
uint32_t anyPort(const Records& records) {
    for (const auto& [instance, pif] : records.pifs())
        if (typeOf(instance) == HAL_PORT_TYPE_FRONT_PANEL)
            return portKey(slotOf(instance), portOf(instance));
    return 0;
}

std::string outgoingText(uint16_t vlanId, uint32_t port) {
    return fmt::format(" oif {} {}", vlanId, portName(portInstance(port >> 16, port & 0xFFFF)));
}

}  // namespace

// VLANs are told by their ids: instances depend on the order in which they were made.
void McastManager::forEachText(const std::function<void(const McastCache&, const Texts&)>& see) {
    const auto order = [this](const McastCache* cache) {
        const McastKey& key = cache->key;
        return std::tuple(key.group, key.source, key.vr, vlanOf(key.incomingVlan));
    };
    std::vector<const McastCache*> caches;
    caches.reserve(copy_.caches().size());
    for (const auto& [key, cache] : copy_.caches()) caches.push_back(&cache);
    std::ranges::sort(caches, {}, order);
    const uint32_t port = anyPort(context_.records);
    std::vector<std::pair<uint16_t, const McastPorts*>> vlans;
    for (const McastCache* cache : caches) {
        const McastKey& key = cache->key;
        vlans.clear();
        for (const auto& [vlan, ports] : cache->vlans)
            if (vlan != key.incomingVlan || !ports.empty())
                vlans.emplace_back(vlanOf(vlan), &ports);
        std::ranges::sort(vlans);
        Texts texts;
        texts.group = ipv4Text(htonl(key.group));
        texts.source = key.source == 0 ? "*" : ipv4Text(htonl(key.source));
        texts.incoming = fmt::format(" iif {}", vlanOf(key.incomingVlan));
        texts.router = key.vr == 0 ? "" : fmt::format(" vr {}", key.vr);
        for (const auto& [id, ports] : vlans) {
            for (const uint32_t one : *ports) texts.outgoing += outgoingText(id, one);
            if (ports->empty() && port != 0) texts.empty.push_back(outgoingText(id, port));
        }
        see(*cache, texts);
    }
}

// A cache of any source can't be extended, so a cache is one line, however many ports it has. It
// comes before those of its group with a source, so taking away from it takes from no other. A VLAN
// stays in a cache when its last port goes: one without ports gets a port and loses it again.
void McastManager::running(Lines& lines) {
    forEachText([&](const McastCache& cache, const Texts& texts) {
        const std::string name = texts.group + " " + texts.source + texts.incoming;
        const std::string undo = cache.key.source == 0
                                     ? "mcast flush group " + texts.group + texts.incoming
                                     : "mcast del " + name;
        std::string line = "mcast add " + name + texts.outgoing;
        for (const std::string& outgoing : texts.empty) line += outgoing;
        lines.add(line + texts.router, undo + texts.router);
        for (const std::string& outgoing : texts.empty)
            lines.more("mcast oif del " + name + outgoing + texts.router);
    });
}

uint64_t saveMcast(McastManager& manager, OutputFile& file, const Surroundings& surroundings) {
    uint64_t count = 0;
    manager.forEachText([&](const McastCache&, const McastManager::Texts& texts) {
        if (++count % 1024 == 0) surroundings.checkInterrupt();
        file.write(texts.group + " " + texts.source + texts.incoming + texts.outgoing +
                   texts.router + "\n");
    });
    return count;
}

}  // namespace pcsim::host
