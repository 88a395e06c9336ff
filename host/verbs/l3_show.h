// What the layer-3 manager shows.
#ifndef PCSIM_HOST_VERBS_L3_SHOW_H
#define PCSIM_HOST_VERBS_L3_SHOW_H

#include <optional>

#include "console/report.h"
#include "host/l3/l3_manager.h"
#include "host/l3/route_load.h"
#include "host/verbs/pages.h"

namespace pcsim::host {

struct NeighborQuery {
    std::optional<IpPrefix> within;  // else all; IPv4
    RowRange range;
    RowRange gateways;  // of those that are no neighbors
};
Report neighborReport(const L3Manager& manager, const NeighborQuery& query);

struct RouteQuery {
    enum class Which { kAll, kCovering, kWithin };
    Which which = Which::kAll;
    IpPrefix prefix = {};        // that is covered, or that they are within
    std::optional<uint32_t> vr;  // else all
    static constexpr uint64_t kDefaultRoutes = 20, kHighestLimit = 100000;
    RowRange range = {0, kDefaultRoutes, kHighestLimit};  // routes of a family
};
Report routeReport(const L3Manager& manager, const RouteQuery& query);

Report routeSummary(const L3Manager& manager);

Report loadReport(const RouteLoad& load);

}  // namespace pcsim::host

#endif
