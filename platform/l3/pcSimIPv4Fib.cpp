// The IPv4 family of the route tables: keys with a bit mask, and a counted adjacency reference for
// each next hop.
#include "platform/l3/pcSimIPv4Fib.h"

#include <arpa/inet.h>

#include <bit>

#include "platform/l3/fibTable.h"

namespace {

using pcsim::Standing;

struct IPv4Family {
    using Route = pcSimIPv4FibRoute;
    using NextHop = pcSimFibNextHop;
    using Request = pcSimIPv4FibReq;
    using Slot = pcSimIPv4FibSlot;
    using Address = uint32_t;

    static constexpr uint32_t kHostMask = 0xFFFFFFFF;
    static constexpr HalTreeCompareFn* compare = pcSimPCFamIPv4FibEntryCmpFunc;

    static HalTreeRoot& root() noexcept { return gIPv4FibTable; }
    static Route* allocateRoute() noexcept { return pcSimIPv4FibRouteAlloc(); }

    static Route* find(const Request& request) noexcept {
        return pcSimIPv4FibFind(request.vrId, request.prefix, request.mask);
    }

    static void setKey(Route& route, uint32_t vrId, Address prefix, uint32_t mask) noexcept {
        route.vrId = vrId;
        route.prefix = prefix;
        route.mask = mask;
    }

    static uint32_t mask(const Request& request) noexcept { return request.mask; }
    static bool same(Address a, Address b) noexcept { return a == b; }

    static Standing attach(NextHop* nextHop) noexcept {
        pcsim::newestAdjacency = nullptr;
        pcSimIpAdjEntry* const entry =
            pcsim::adjacencyFor(nextHop->route->vrId, nextHop->gateway, nextHop->vlan);
        if (entry == nullptr) __builtin_trap();
        const bool wasIdle = entry->refCount == 0 && entry != pcsim::newestAdjacency;
        rtAttachIpAdjEntry(entry, nextHop);
        return wasIdle ? Standing::kWasIdle : Standing::kOrdinary;
    }

    static void detach(NextHop* nextHop, Standing standing) noexcept {
        if (standing == Standing::kOrdinary) {
            rtDeattachIpAdjEntry(nextHop);
            return;
        }
        pcSimIpAdjEntry* const entry = nextHop->adjacency;
        ++entry->refCount;  // an adjacency goes with its last reference
        rtDeattachIpAdjEntry(nextHop);
        --entry->refCount;
    }

    static bool flushes(const Request& filter, Address gateway) noexcept {
        return ((gateway ^ filter.prefix) & filter.mask) == 0;
    }

    static void dumpHeader(const pcSimDumpSink* sink) noexcept;
    static void dumpRows(const pcSimDumpSink* sink, const Route* route) noexcept {
        dumpSimEntry(sink, route);
    }
};

void IPv4Family::dumpHeader(const pcSimDumpSink* sink) noexcept {
    DUMP_LINE(sink, "                            HAL IPv4 FIB: ");
    DUMP_PRINT(sink, "%-4s %-18s %-15s %-6s %-17s %s\n", "VrId", "Prefix/Mask", "Gateway", "Vlan",
               "MAC", "Port");
    DUMP_LINE(sink, "=========================================================================");
}

using Table = pcsim::FibTable<IPv4Family>;

// The leading one bits of a mask; what follows in a mask with gaps is not counted.
int32_t prefixLength(uint32_t mask) noexcept {
    return std::countl_one(ntohl(mask));
}

const uint8_t* bytesOf(const uint32_t& address) noexcept {
    return reinterpret_cast<const uint8_t*>(&address);
}

}  // namespace

extern "C" {

HalTreeRoot gIPv4FibTable;

int32_t pcSimPCFamIPv4FibAddEntry(const pcSimIPv4FibReq* request) noexcept {
    return Table::add(request);
}

uint32_t pcSimPCFamIPv4FibDeleteEntry(const pcSimIPv4FibReq* request) noexcept {
    return Table::remove(request);
}

int32_t pcSimPCFamIPv4FibReplaceEntry(const pcSimIPv4FibReq* request) noexcept {
    return Table::replace(request);
}

uint32_t pcSimPCFamIPv4FibFlush(const pcSimIPv4FibReq* filter) noexcept {
    return Table::flush(filter);
}

uint32_t pcSimPCFamIPv4FibDump(const pcSimDumpSink* sink) noexcept {
    return Table::dump(sink);
}

PCSIM_IPV4_FIB_STUBS(PCSIM_DEFINE_STUB)

int32_t pcSimPCFamIPv4FibEntryCmpFunc(const HalTreeNode* a, const HalTreeNode* b) noexcept {
    const auto& routeA = *reinterpret_cast<const pcSimIPv4FibRoute*>(a);
    const auto& routeB = *reinterpret_cast<const pcSimIPv4FibRoute*>(b);
    if (routeA.vrId != routeB.vrId) return routeA.vrId > routeB.vrId ? 1 : -1;
    if (routeA.mask != routeB.mask) return ntohl(routeA.mask) < ntohl(routeB.mask) ? 1 : -1;
    if (routeA.prefix == routeB.prefix) return 0;
    return ntohl(routeA.prefix) > ntohl(routeB.prefix) ? 1 : -1;
}

void dumpSimEntry(const pcSimDumpSink* sink, const pcSimIPv4FibRoute* route) noexcept {
    const uint8_t* const prefix = bytesOf(route->prefix);
    for (const pcSimFibNextHop* hop = route->nextHops; hop != nullptr; hop = hop->next) {
        if (hop->adjacency == nullptr) __builtin_trap();
        const uint8_t* const gateway = bytesOf(hop->gateway);
        const pcSimIpAdjRec& record = hop->adjacency->record;
        const uint8_t* const mac = record.mac;
        DUMP_PRINT(sink,
                   "%4d %03d.%03d.%03d.%03d/%2d %03d.%03d.%03d.%03d %06d "
                   "%02x:%02x:%02x:%02x:%02x:%02x %08x\n",
                   route->vrId, prefix[0], prefix[1], prefix[2], prefix[3],
                   prefixLength(route->mask), gateway[0], gateway[1], gateway[2], gateway[3],
                   hop->vlan, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5], record.port);
    }
}

pcSimIPv4FibRoute* pcSimIPv4FibFind(uint32_t vrId, uint32_t prefix, uint32_t mask) noexcept {
    pcSimIPv4FibRoute key;
    Table::clear(key);
    IPv4Family::setKey(key, vrId, prefix, mask);
    return reinterpret_cast<pcSimIPv4FibRoute*>(
        findNode(&key.node, gIPv4FibTable, pcSimPCFamIPv4FibEntryCmpFunc));
}

pcSimIPv4FibRoute* pcSimIPv4FibRouteAlloc() noexcept {
    auto* const route = static_cast<pcSimIPv4FibRoute*>(malloc(sizeof(pcSimIPv4FibRoute)));
    if (route == nullptr) return nullptr;
    Table::clear(*route);
    IPv4Family::setKey(*route, 0, 0, 0);
    return route;
}

pcSimIPv4FibRoute* pcSimIPv4FibDirectRtLookup(uint32_t vrId, uint32_t address) noexcept {
    return pcSimIPv4FibFind(vrId, address, IPv4Family::kHostMask);
}

pcSimIPv4FibRoute* pcSimIPv4FibDirectRtCreate(uint32_t vrId, uint32_t address,
                                              uint32_t vlan) noexcept {
    return Table::createHostRoute(vrId, address, vlan);
}

void pcSimIPv4FibDirectRtFree(pcSimIPv4FibRoute* route) noexcept {
    Table::freeHostRoute(route);
}
}
