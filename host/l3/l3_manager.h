// The layer-3 manager: neighbors and routes, programmed into the platform as a HAL does.
//
// The platform keeps adjacencies, a host route for each, and two route tables that can't be asked
// what they hold, so the manager keeps the neighbors and a compact copy of the routes. Adding a
// neighbor adds its host route to the copy too, since the platform adds one; a gateway that is no
// neighbor is a placeholder there until it becomes one.
//
// A card that goes away takes the neighbors on its ports with it. Their gateways stay in the
// routes, unresolved, until the routes go or the neighbors come back.
#ifndef PCSIM_HOST_L3_L3_MANAGER_H
#define PCSIM_HOST_L3_L3_MANAGER_H

#include <compare>
#include <map>
#include <span>
#include <tuple>
#include <vector>

#include "console/mac_address.h"
#include "host/core/context.h"
#include "host/l3/families.h"
#include "host/l3/route_copy.h"

namespace pcsim::host {

struct NeighborKey {
    uint32_t vr;
    uint32_t address;  // host byte order: neighbors are listed by number
    uint32_t vlan;
    auto operator<=>(const NeighborKey&) const = default;
};

struct Neighbor {
    MacAddress mac;
    uint32_t port;  // instance
};

struct AdjacencyCounts {
    uint64_t neighbors = 0;
    uint64_t placeholders = 0;
};

class L3Manager : public Manager {
public:
    explicit L3Manager(Context& context) : context_(context) {}

    void cardDown(int slot) override;
    void running(Lines& lines) override;

    // A neighbor that is there already gets the new MAC address and port.
    void addNeighbor(const NeighborKey& key, const Neighbor& neighbor);
    void removeNeighbor(const NeighborKey& key);
    const std::map<NeighborKey, Neighbor>& neighbors() const { return neighbors_; }

    // The gateways that routes name, with the number of next hops that do.
    std::map<NeighborKey, uint64_t> gateways() const;
    AdjacencyCounts adjacencyCounts() const;

    template <typename Family>
    using Hops = std::span<const typename Family::Hop>;

    // Gives the route these next hops beside those it has; makes it when it is not there.
    template <typename Family>
    void addRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops);
    // Takes these next hops from the route; the whole route when none is named.
    template <typename Family>
    void removeRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops);
    // Makes these its only next hops, without a gap for those it had.
    template <typename Family>
    void replaceRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops);
    // Takes away the next hops whose gateway is in 'filter' on VLAN 'vlan' (0: any), and all routes
    // of the virtual router that have none.
    template <typename Family>
    RouteCounts flush(uint32_t vr, const typename Family::Key& filter, uint32_t vlan);

    template <typename Family>
    using Copies = std::map<uint32_t, RouteCopy<Family>>;
    // By virtual router; those without routes are not there.
    template <typename Family>
    const Copies<Family>& routes() const {
        return std::get<Copies<Family>>(copies_);
    }
    template <typename Family>
    const RouteCopy<Family>* routesOf(uint32_t vr) const;

private:
    // The neighbor whose address the route is to, and that would have made it; null for others.
    const NeighborKey* neighborBehind(uint32_t vr, const IPv4Family::Key& key) const;
    template <typename Family>
    typename Family::Request* request(uint32_t vr, const typename Family::Key& key,
                                      Hops<Family> hops);
    template <typename Family>
    void callOrFail(int32_t (*HalFamilyOps::*word)(const typename Family::Request*), uint32_t vr,
                    const typename Family::Key& key, Hops<Family> hops);
    template <typename Family>
    void dropIfEmpty(uint32_t vr);
    template <typename Family>
    Copies<Family>& copies() {
        return std::get<Copies<Family>>(copies_);
    }

    Context& context_;
    std::map<NeighborKey, Neighbor> neighbors_;
    std::tuple<Copies<IPv4Family>, Copies<IPv6Family>> copies_;
    std::vector<std::byte> request_;
};

}  // namespace pcsim::host

#endif
