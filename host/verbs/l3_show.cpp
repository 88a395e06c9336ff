// Reports of neighbors and routes.

#include "host/verbs/l3_show.h"

#include "console/present.h"

namespace pcsim::host {

namespace {

Cell addressCell(const NeighborKey& key) {
    return Cell(IPv4Family::text(htonl(key.address)));
}

}  // namespace

Report neighborReport(const L3Manager& manager, const NeighborQuery& query) {
    Table table{"neighbors",
                "Neighbors",
                {{"address", "Address"},
                 {"vr", "VR", Align::kRight},
                 {"vlan", "VLAN", Align::kRight},
                 {"mac", "MAC address"},
                 {"port", "Port"},
                 {"nextHops", "Next hops", Align::kRight}},
                {},
                "none",
                ""};
    const auto wanted = query.within ? IPv4Family::keyOf(*query.within) : IPv4Family::everything();
    const auto isWanted = [&](const NeighborKey& key) {
        return IPv4Family::contains(wanted, htonl(key.address));
    };
    const auto gateways = manager.gateways();
    uint64_t neighbors = 0;
    for (const auto& [key, neighbor] : manager.neighbors()) {
        if (!isWanted(key) || !query.range.has(neighbors++)) continue;
        const auto uses = gateways.find(key);
        table.rows.push_back({addressCell(key), key.vr, key.vlan, macText(neighbor.mac.data()),
                              portName(neighbor.port),
                              uses == gateways.end() ? uint64_t{0} : uses->second});
    }
    Table unresolved{"placeholders",
                     "Gateways that are no neighbors",
                     {{"address", "Address"},
                      {"vr", "VR", Align::kRight},
                      {"vlan", "VLAN", Align::kRight},
                      {"nextHops", "Next hops", Align::kRight}},
                     {},
                     "none",
                     ""};
    uint64_t count = 0;
    for (const auto& [key, uses] : gateways)
        if (isWanted(key) && !manager.neighbors().contains(key) && query.gateways.has(count++))
            unresolved.rows.push_back({addressCell(key), key.vr, key.vlan, uses});
    Pages pages;
    pages.note(table, query.range, neighbors, "neighbors");
    pages.note(unresolved, query.gateways, count, "gateways");
    return Report(table).add(unresolved).add(pages.table());
}

namespace {

// The cells that say how a next hop is reached: IPv6 has no adjacencies.
void addAdjacencyCells(std::vector<Cell>& row, const L3Manager& manager, uint32_t vr,
                       const IPv4Family::Hop& hop) {
    const auto found = manager.neighbors().find({vr, ntohl(hop.gateway), hop.vlan});
    if (found == manager.neighbors().end()) {
        row.insert(row.end(), {Cell(), Cell()});
        return;
    }
    row.emplace_back(macText(found->second.mac.data()));
    row.emplace_back(portName(found->second.port));
}

void addAdjacencyCells(std::vector<Cell>&, const L3Manager&, uint32_t, const IPv6Family::Hop&) {}

template <typename Family>
void addRows(Table& table, const L3Manager& manager, uint32_t vr, const RouteCopy<Family>& copy,
             const typename Family::Key& key) {
    const auto hops = copy.hopsOf(key);
    if (hops.empty()) {
        table.rows.emplace_back(table.columns.size());
        table.rows.back()[0] = Family::text(key);
        table.rows.back()[1] = vr;
    }
    for (const auto& hop : hops) {
        std::vector<Cell> row{Family::text(key), vr, Family::text(hop.gateway), hop.vlan};
        addAdjacencyCells(row, manager, vr, hop);
        table.rows.push_back(std::move(row));
    }
}

template <typename Family>
Table emptyRouteTable(const RouteQuery& query) {
    Table table{Family::kV6 ? "ipv6Routes" : "ipv4Routes",
                fmt::format("{} routes", Family::kName),
                {{"prefix", "Prefix"},
                 {"vr", "VR", Align::kRight},
                 {"gateway", "Gateway"},
                 {"vlan", "VLAN", Align::kRight}},
                {},
                "none",
                ""};
    if (!Family::kV6) {
        table.columns.push_back({"mac", "MAC address"});
        table.columns.push_back({"port", "Port"});
    }
    const std::string text =
        query.which == RouteQuery::Which::kAll ? "" : Family::text(Family::keyOf(query.prefix));
    if (query.which == RouteQuery::Which::kCovering) {
        table.title += " that cover " + text;
        table.whenEmpty = "none covers " + text;
    } else if (query.which == RouteQuery::Which::kWithin) {
        table.title += " within " + text;
        table.whenEmpty = "none is within " + text;
    }
    return table;
}

template <typename Family>
std::vector<typename Family::Key> keysOf(const RouteCopy<Family>& copy, const RouteQuery& query) {
    using Key = typename Family::Key;
    if (query.which == RouteQuery::Which::kAll) return copy.keys([](const Key&) { return true; });
    const Key wanted = Family::keyOf(query.prefix);
    if (query.which == RouteQuery::Which::kCovering)
        return copy.keys([&](const Key& key) { return Family::covers(key, wanted); });
    return copy.keys([&](const Key& key) { return Family::covers(wanted, key); });
}

// In the platform's order. Of a table of a million routes those of the page are put in order, the
// rest is counted.
template <typename Family>
Table routeTable(const L3Manager& manager, const RouteQuery& query, Pages& pages) {
    Table table = emptyRouteTable<Family>(query);
    uint64_t total = 0;
    for (const auto& [vr, copy] : manager.routes<Family>()) {
        if (query.vr && *query.vr != vr) continue;
        auto keys = keysOf(copy, query);
        for (const auto& key : pageOf(keys, query.range, total, Family::before))
            addRows(table, manager, vr, copy, key);
        total += keys.size();
    }
    pages.note(table, query.range, total, "routes");
    table.flexible = {{0, Cut::kMiddle}, {2, Cut::kMiddle}};
    return table;
}

}  // namespace

Report routeReport(const L3Manager& manager, const RouteQuery& query) {
    Report report;
    Pages pages;
    const bool both = query.which == RouteQuery::Which::kAll, v6 = query.prefix.address.v6;
    if (both || !v6) report.add(routeTable<IPv4Family>(manager, query, pages));
    if (both || v6) report.add(routeTable<IPv6Family>(manager, query, pages));
    return report.add(pages.table());
}

namespace {

template <typename Family>
std::vector<Cell> tableRow(const L3Manager& manager, const char* name) {
    RouteCounts sum;
    uint64_t hostBytes = 0;
    for (const auto& [vr, copy] : manager.routes<Family>()) {
        const RouteCounts counts = copy.counts();
        sum.routes += counts.routes;
        sum.nextHops += counts.nextHops;
        hostBytes += copy.bytes();
    }
    return {name, sum.routes, sum.nextHops,
            sum.routes * sizeof(typename Family::Route) +
                sum.nextHops * sizeof(typename Family::NextHop),
            hostBytes};
}

// A node of a std::map: its colour and three links before the pair.
constexpr size_t kMapNodeBytes = 4 * sizeof(void*);

Table virtualRouterTable(const L3Manager& manager) {
    struct Row {
        size_t ipv4Routes = 0, ipv6Routes = 0, neighbors = 0;
    };
    std::map<uint32_t, Row> routers;
    for (const auto& [vr, copy] : manager.routes<IPv4Family>())
        routers[vr].ipv4Routes = copy.counts().routes;
    for (const auto& [vr, copy] : manager.routes<IPv6Family>())
        routers[vr].ipv6Routes = copy.counts().routes;
    for (const auto& neighbor : manager.neighbors()) ++routers[neighbor.first.vr].neighbors;
    Table table{"virtualRouters",
                "Virtual routers in use",
                {{"vr", "VR", Align::kRight},
                 {"ipv4Routes", "IPv4 routes", Align::kRight},
                 {"ipv6Routes", "IPv6 routes", Align::kRight},
                 {"neighbors", "Neighbors", Align::kRight}},
                {},
                "none",
                ""};
    for (const auto& [vr, row] : routers)
        table.rows.push_back({vr, row.ipv4Routes, row.ipv6Routes, row.neighbors});
    return table;
}

}  // namespace

// The platform's bytes are those of its records, without what the allocator adds to each.
Report routeSummary(const L3Manager& manager) {
    Table tables{"tables",
                 "Tables",
                 {{"table", "Table"},
                  {"entries", "Entries", Align::kRight},
                  {"nextHops", "Next hops", Align::kRight},
                  {"platformBytes", "Platform bytes", Align::kRight},
                  {"hostBytes", "Host bytes", Align::kRight}},
                 {},
                 "",
                 ""};
    const AdjacencyCounts counts = manager.adjacencyCounts();
    const uint64_t adjacencies = counts.neighbors + counts.placeholders;
    tables.rows.push_back(tableRow<IPv4Family>(manager, "ipv4"));
    tables.rows.push_back(tableRow<IPv6Family>(manager, "ipv6"));
    using Node = std::pair<const NeighborKey, Neighbor>;
    tables.rows.push_back({"adjacencies", adjacencies, Cell(),
                           adjacencies * sizeof(pcSimIpAdjEntry),
                           counts.neighbors * (kMapNodeBytes + sizeof(Node))});
    Fields fields{"adjacencies",
                  "Adjacencies",
                  {{"neighbors", "Neighbors", counts.neighbors},
                   {"placeholders", "Placeholders", counts.placeholders}}};
    return Report(tables).add(fields).add(virtualRouterTable(manager));
}

Report loadReport(const RouteLoad& load) {
    const auto milliseconds = static_cast<uint64_t>(load.seconds * 1000);
    Fields fields{
        "load",
        "Loaded " + load.file.path(),
        {{"ipv4", "IPv4 lines", load.ipv4Lines},
         {"ipv6", "IPv6 lines", load.ipv6Lines},
         {"withoutNextHops", "Without a next hop", load.withoutNextHops},
         {"bad", "Bad lines", load.file.badLineCount()},
         {"milliseconds", "Seconds", Cell(Cell(milliseconds), fmt::format("{:.3f}", load.seconds))},
         {"perSecond", "Routes per second", load.perSecond()}}};
    return fields;
}

}  // namespace pcsim::host
