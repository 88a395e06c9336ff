// What the layer-3 manager shows.
#ifndef PCSIM_HOST_VERBS_L3_SHOW_H
#define PCSIM_HOST_VERBS_L3_SHOW_H

#include <optional>

#include "console/report.h"
#include "host/l3/l3_manager.h"
#include "host/l3/route_load.h"

namespace pcsim::host {

Report neighborReport(const L3Manager& manager);

struct RouteQuery {
    std::optional<IpPrefix> prefix;  // it and what covers it, else all
    std::optional<uint32_t> vr;      // else all
    static constexpr size_t kHighestLimit = 100000;
    size_t limit = 20;  // routes of a family
};
Report routeReport(const L3Manager& manager, const RouteQuery& query);

Report routeSummary(const L3Manager& manager);

Report loadReport(const RouteLoad& load);

}  // namespace pcsim::host

#endif
