// The lines of neighbors and routes, and files of routes.
#include "console/surroundings.h"
#include "host/core/lines.h"
#include "host/l3/l3_manager.h"
#include "host/l3/route_lines.h"

namespace pcsim::host {

namespace {

// So many next hops stand in a line: a route may have more than a line can hold.
constexpr size_t kHopsOfALine = 256;

std::string routerText(uint32_t vr) {
    return vr == 0 ? "" : fmt::format(" vr {}", vr);
}

template <typename Family>
void addRouteLine(Lines& lines, uint32_t vr, const typename Family::Key& key,
                  L3Manager::Hops<Family> hops) {
    const std::string router = routerText(vr), name = Family::text(key);
    std::string line;
    size_t told = 0;
    do {
        line.assign("route add ").append(name);
        appendHops<Family>(line, hops, told, kHopsOfALine, kCommandHop);
        line += router;
        if (told == 0)
            lines.add(line, "route del " + name + router);
        else
            lines.more(line);
        told += kHopsOfALine;
    } while (told < hops.size());
}

}  // namespace

// A neighbor has a route to its address alone, made with it unless there was one. The neighbor of
// the lowest VLAN is told first, so it is the one that makes it.
const NeighborKey* L3Manager::neighborBehind(uint32_t vr, const IPv4Family::Key& key) const {
    if (key.mask != IPv4Family::hostKey(0).mask) return nullptr;
    const uint32_t address = ntohl(key.prefix);
    const auto found = neighbors_.lower_bound({vr, address, 0});
    const bool same =
        found != neighbors_.end() && found->first.vr == vr && found->first.address == address;
    return same ? &found->first : nullptr;
}

// Routes to neighbors that are other than the neighbors would make them come first, those that
// were taken away behind them.
void L3Manager::running(Lines& lines) {
    const auto forEachAddress = [&](auto see) {
        for (const auto& [key, neighbor] : neighbors_) {
            const auto host = IPv4Family::hostKey(htonl(key.address));
            if (neighborBehind(key.vr, host) != &key) continue;
            see(host, key, routesOf<IPv4Family>(key.vr));
        }
    };
    using Copy = const RouteCopy<IPv4Family>*;
    forEachAddress([&](const auto& host, const NeighborKey& key, Copy copy) {
        if (copy == nullptr || !copy->has(host)) return;
        const auto hops = copy->hopsOf(host);
        const IPv4Family::Hop own{host.prefix, key.vlan};
        if (hops.size() != 1 || hops.front() != own)
            addRouteLine<IPv4Family>(lines, key.vr, host, hops);
    });
    for (const auto& [key, neighbor] : neighbors_) {
        const std::string name =
            fmt::format("{} vlan {}", IPv4Family::text(htonl(key.address)), key.vlan);
        lines.replace(
            fmt::format("neighbor add {} mac {} port {}{}", name, macText(neighbor.mac.data()),
                        portName(neighbor.port), routerText(key.vr)),
            fmt::format("neighbor del {}{}", name, routerText(key.vr)));
    }
    forEachAddress([&](const auto& host, const NeighborKey& key, Copy copy) {
        if (copy != nullptr && copy->has(host)) return;
        const std::string name = IPv4Family::text(host), router = routerText(key.vr);
        lines.add(fmt::format("route del {}{}", name, router),
                  fmt::format("route add {} via {} vlan {}{}", name, IPv4Family::text(host.prefix),
                              key.vlan, router));
    });
    for (const auto& [vr, copy] : routes<IPv4Family>())
        for (const auto& route : copy.sorted())
            if (neighborBehind(vr, route.key) == nullptr)
                addRouteLine<IPv4Family>(lines, vr, route.key, copy.hopsOf(route));
    for (const auto& [vr, copy] : routes<IPv6Family>())
        for (const auto& route : copy.sorted())
            addRouteLine<IPv6Family>(lines, vr, route.key, copy.hopsOf(route));
}

namespace {

template <typename Family>
uint64_t saveFamily(const L3Manager& manager, uint32_t vr, OutputFile& file,
                    const Surroundings& surroundings) {
    const RouteCopy<Family>* const copy = manager.routesOf<Family>(vr);
    if (copy == nullptr) return 0;
    uint64_t count = 0;
    std::string line;
    for (const auto& route : copy->sorted()) {
        if (++count % 1024 == 0) surroundings.checkInterrupt();
        const auto hops = copy->hopsOf(route);
        size_t told = 0;
        do {
            line = Family::text(route.key);
            appendHops<Family>(line, hops, told, kHopsOfALine, kFileHop);
            line += '\n';
            file.write(line);
            told += kHopsOfALine;
        } while (told < hops.size());
    }
    return count;
}

}  // namespace

uint64_t saveRoutes(const L3Manager& manager, uint32_t vr, OutputFile& file,
                    const Surroundings& surroundings) {
    const uint64_t ipv4 = saveFamily<IPv4Family>(manager, vr, file, surroundings);
    return ipv4 + saveFamily<IPv6Family>(manager, vr, file, surroundings);
}

}  // namespace pcsim::host
