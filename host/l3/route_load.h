// Loading a file of routes of both families into one virtual router.
//
// A line is "PREFIX [ADDRESS VLAN]...": a prefix and its next hops. Empty lines and what follows a
// '#' are passed over.
#ifndef PCSIM_HOST_L3_ROUTE_LOAD_H
#define PCSIM_HOST_L3_ROUTE_LOAD_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/core/line_load.h"
#include "host/l3/l3_manager.h"

namespace pcsim::host {

// A gateway on a VLAN as typed, of either family.
struct TypedHop {
    IpAddress gateway;
    uint32_t vlan;
};

// A gateway is the address of one station, or a CommandError.
TypedHop typedHop(const std::string& gateway, const std::string& vlan);

// The next hops of one family, for a route of it. Fails when one is of the other.
template <typename Family>
std::vector<typename Family::Hop> hopsOf(const std::vector<TypedHop>& typed,
                                         const typename Family::Key& route);
// The key of a prefix. Fails when its address has bits outside of the mask.
template <typename Family>
typename Family::Key keyOf(const IpPrefix& prefix);

struct RouteLoad {
    explicit RouteLoad(std::string path) : file(std::move(path)) {}

    LineLoad file;
    uint64_t ipv4Lines = 0;
    uint64_t ipv6Lines = 0;
    // Lines that name no next hop, of a family that no gateway was given for.
    uint64_t withoutNextHops = 0;
    double seconds = 0;

    uint64_t lines() const { return ipv4Lines + ipv6Lines; }
    uint64_t perSecond() const {
        return seconds > 0 ? static_cast<uint64_t>(static_cast<double>(lines()) / seconds) : 0;
    }
};

// A line without next hops gets those of 'otherwise' that are of its family.
RouteLoad loadRoutes(Context& context, L3Manager& manager, const std::string& path, uint32_t vr,
                     const std::vector<TypedHop>& otherwise);

}  // namespace pcsim::host

#endif
