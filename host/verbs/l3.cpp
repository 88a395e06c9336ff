// Verbs of neighbors and routes.
#include "host/verbs/host_verbs.h"

#include "console/mac_address.h"
#include "console/text.h"
#include "host/core/dump_text.h"
#include "host/l3/route_lines.h"
#include "host/ports/port_manager.h"
#include "host/verbs/l3_show.h"
#include "host/verbs/load_answer.h"

namespace pcsim::host {

namespace {

NeighborKey neighborOf(Call& call) {
    const IpAddress address = parseAddress(call.text("address"));
    if (address.v6)
        fail("neighbor {} is an IPv6 address; the platform has adjacencies for IPv4 alone",
             address.text());
    checkStation(address);
    return {virtualRouterOf(call), ntohl(address.v4()), call.vlan()};
}

void addNeighbor(Call& call) {
    const MacAddress mac = macOf(call.text("mac"));
    checkStation(mac);
    const NeighborKey key = neighborOf(call);
    call.machine.l3().addNeighbor(key, {mac, instanceOf(call)});
}

std::vector<TypedHop> typedHops(Call& call) {
    const auto& gateways = call.all("gateway");
    const auto& vlans = call.all("vlan");
    std::vector<TypedHop> hops;
    for (size_t i = 0; i < gateways.size(); ++i) hops.push_back(typedHop(gateways[i], vlans[i]));
    return hops;
}

template <typename Family>
void changeRouteOf(Call& call, const IpPrefix& prefix) {
    using Hops = L3Manager::Hops<Family>;
    L3Manager& manager = call.machine.l3();
    const uint32_t vr = virtualRouterOf(call);
    const auto key = keyOf<Family>(prefix);
    const auto hops = hopsOf<Family>(typedHops(call), key);
    const std::string& action = call.text("action");
    if (action == "add") return manager.addRoute<Family>(vr, key, Hops(hops));
    if (action == "replace") return manager.replaceRoute<Family>(vr, key, Hops(hops));
    // The platform passes over what is not there; a person has made a mistake.
    const auto* copy = manager.routesOf<Family>(vr);
    if (copy == nullptr || !copy->has(key))
        fail("there is no route {} in virtual router {}; 'show route' lists them",
             Family::text(key), vr);
    for (const auto& hop : hops)
        if (!RouteCopy<Family>::has(copy->hopsOf(key), hop))
            fail("route {} has no next hop {} on VLAN {}; 'show route {}' lists those it has",
                 Family::text(key), Family::text(hop.gateway), hop.vlan, Family::text(key));
    manager.removeRoute<Family>(vr, key, Hops(hops));
}

void changeRoute(Call& call) {
    const IpPrefix prefix = parsePrefix(call.text("prefix"));
    if (prefix.address.v6)
        changeRouteOf<IPv6Family>(call, prefix);
    else
        changeRouteOf<IPv4Family>(call, prefix);
}

// Without a prefix the gateways of both families are meant.
void flushRoutes(Call& call) {
    L3Manager& manager = call.machine.l3();
    const uint32_t vr = virtualRouterOf(call);
    const uint32_t vlan = call.has("vlan") ? call.vlan() : 0;
    RouteCounts gone;
    const auto flush = [&]<typename Family>(Family) {
        auto filter = Family::everything();
        if (call.has("prefix")) filter = Family::keyOf(parsePrefix(call.text("prefix")));
        const RouteCounts counts = manager.flush<Family>(vr, filter, vlan);
        gone.routes += counts.routes;
        gone.nextHops += counts.nextHops;
    };
    const bool both = !call.has("prefix");
    const bool v6 = !both && parsePrefix(call.text("prefix")).address.v6;
    if (both || !v6) flush(IPv4Family{});
    if (both || v6) flush(IPv6Family{});
    call.context.events.note("l3", "Virtual router {}: flushed {} and {}", vr,
                             counted(gone.nextHops, "next hop", "next hops"),
                             counted(gone.routes, "route", "routes"));
}

Report loadFile(Call& call) {
    const uint32_t vr = virtualRouterOf(call);
    const std::string& path = call.text("file");
    const RouteLoad result = loadRoutes(call.context, call.machine.l3(), path, vr, typedHops(call));
    call.context.events.note("l3", "Virtual router {}: {} lines of {} loaded, {} bad", vr,
                             result.lines(), path, result.file.badLineCount());
    return loadAnswer(call, loadReport(result), result.file, result.lines());
}

Report saveFile(Call& call) {
    const uint32_t vr = virtualRouterOf(call);
    const std::string& path = call.text("file");
    OutputFile file(path);
    const uint64_t count = saveRoutes(call.machine.l3(), vr, file, call.context.loop);
    file.keep();
    return savedAnswer(path, "routes", "Routes", count);
}

// Neighbors are all shown unless the command says how many, gateways that are none the first few.
Report showNeighbors(Call& call) {
    constexpr uint64_t kGateways = 20;
    NeighborQuery query{std::nullopt, rowRangeOf(call, kHighestLimit), rowRangeOf(call, kGateways)};
    if (call.has("prefix")) query.within = parsePrefix(call.text("prefix"));
    if (query.within && query.within->address.v6)
        fail("{} is an IPv6 prefix; the platform has adjacencies for IPv4 alone",
             call.text("prefix"));
    return neighborReport(call.machine.l3(), query);
}

Report showRoutes(Call& call, RouteQuery::Which which, const IpPrefix& prefix = {}) {
    RouteQuery query{which, prefix, std::nullopt};
    if (which == RouteQuery::Which::kCovering) query.vr = 0;  // a lookup is one router's
    if (call.has("vr")) query.vr = virtualRouterOf(call);
    query.range.from = call.numberOr("from", 0);
    query.range.limit = call.numberOr("limit", query.range.limit);
    return routeReport(call.machine.l3(), query);
}

IpPrefix hostPrefix(const IpAddress& address) {
    return parsePrefix(address.text() + (address.v6 ? "/128" : "/32"));
}

// The platform's own dump, in pieces as it comes.
void dumpWord(Call& call, HalIpAdjDumpFn* HalFamilyOps::*word) {
    Platform& platform = call.context.platform;
    dumpTo(call.print,
           [&](const pcSimDumpSink* sink) { platform.call(platform.family, word, sink); });
}

}  // namespace

void addL3Verbs(HostVerbs& verbs) {
    verbs.show(
        "show neighbors [within <prefix>] [limit <limit:1-1000000>] [from <from:0-1000000000>]",
        "neighbors, and gateways that are none", showNeighbors);
    verbs.action("neighbor add <address> vlan <vlan> mac <mac:text> port <port> [vr <vr:u32>]",
                 "a neighbor that was resolved, or has moved", addNeighbor);
    verbs.action("neighbor del <address> vlan <vlan> [vr <vr:u32>]", "a neighbor that was lost",
                 [](Call& call) { call.machine.l3().removeNeighbor(neighborOf(call)); });
    verbs.action("neighbor dump", "the platform's own listing of its adjacencies",
                 [](Call& call) { dumpWord(call, &HalFamilyOps::ipAdjDump); });
    verbs.show("show route summary", "sizes of the tables",
               [](Call& call) { return routeSummary(call.machine.l3()); });
    verbs.show("show route [vr <vr:u32>] [limit <limit:1-100000>] [from <from:0-1000000000>]",
               "routes, in table order",
               [](Call& call) { return showRoutes(call, RouteQuery::Which::kAll); });
    verbs.show(
        "show route within <prefix> [vr <vr:u32>] [limit <limit:1-100000>] "
        "[from <from:0-1000000000>]",
        "the routes whose addresses are all in a prefix", [](Call& call) {
            return showRoutes(call, RouteQuery::Which::kWithin, parsePrefix(call.text("prefix")));
        });
    verbs.show(
        "show route <prefix> [vr <vr:u32>] [limit <limit:1-100000>] [from <from:0-1000000000>]",
        "the route of a prefix and those that cover it", [](Call& call) {
            return showRoutes(call, RouteQuery::Which::kCovering, parsePrefix(call.text("prefix")));
        });
    verbs.show(
        "show route <address> [vr <vr:u32>] [limit <limit:1-100000>] [from <from:0-1000000000>]",
        "the routes that cover an address, the one that counts first", [](Call& call) {
            return showRoutes(call, RouteQuery::Which::kCovering,
                              hostPrefix(parseAddress(call.text("address"))));
        });
    verbs.action(
        "route <action:add|del|replace> <prefix> [via <gateway:address> vlan <vlan>]* "
        "[vr <vr:u32>]",
        "next hops of a route; without one: a route that has none, del takes it away", changeRoute);
    verbs.action("route flush [via <prefix>] [vlan <vlan>] [vr <vr:u32>]",
                 "take away all next hops with such a gateway, and routes without any",
                 flushRoutes);
    verbs.show("route load <file> [via <gateway:address> vlan <vlan>]* [vr <vr:u32>]",
               "add the routes of a file, PREFIX [ADDRESS VLAN]... per line", loadFile);
    verbs.show("route save <file> [vr <vr:u32>]", "write the routes as such lines", saveFile);
    verbs.action("route dump", "the platform's own listing of its routes", [](Call& call) {
        dumpWord(call, IPv4Family::kDump);
        dumpWord(call, IPv6Family::kDump);
    });
}

}  // namespace pcsim::host
