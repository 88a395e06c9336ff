// The algorithms of a route table: find, add, delete, replace, flush, dump and host routes, written
// once for both address families.
//
// A Family says what differs: its records, its tree and key, whether next hops reference
// adjacencies, when a flush takes a gateway, and how a dump looks. It has
//
//   Route, NextHop, Request, Slot, Address   the records
//   kHostMask                                the mask of a host route
//   root()                                   the tree
//   compare                                  its order
//   allocateRoute(), find(request)           the exported helpers of the family
//   setKey(route, vrId, prefix, mask)
//   mask(request)                            widened as the route keeps it
//   same(gateway, gateway)
//   attach(nextHop)                          references an adjacency, and says how it was found
//   detach(nextHop, standing)                lets it go, as it was found: an idle one stays
//   flushes(filter, gateway)
//   dumpHeader(sink), dumpRows(sink, route)
//
// Every route of a tree has a distinct key, every next hop of a route a distinct (gateway, vlan).
// An operation that fails has changed nothing.
#ifndef PCSIM_L3_FIBTABLE_H
#define PCSIM_L3_FIBTABLE_H

#include <stdlib.h>

#include "pcsim/host_tree.h"
#include "platform/base/dump.h"

namespace pcsim {

// How an attached next hop found its adjacency: kWasIdle is one that nobody referenced and that was
// there all the same.
enum class Standing : uint8_t { kOrdinary, kWasIdle };

template <typename Family>
class FibTable {
    using Route = typename Family::Route;
    using NextHop = typename Family::NextHop;
    using Request = typename Family::Request;
    using Slot = typename Family::Slot;
    using Address = typename Family::Address;

public:
    static int32_t add(const Request* request) noexcept {
        Route* const route = Family::find(*request);
        if (route != nullptr && request->count < 1) return 0;
        return program(route, *request, false);
    }

    static uint32_t remove(const Request* request) noexcept {
        Route* const route = Family::find(*request);
        if (route == nullptr) return 0;
        const int32_t count = request->count;
        if (count == 0) removeIf(&route->nextHops, [](const NextHop&) { return true; });
        for (int32_t i = 0; i < count; ++i) removeNamed(route, request->slots[i]);
        removeIfEmpty(route);
        return 0;
    }

    static int32_t replace(const Request* request) noexcept {
        return program(Family::find(*request), *request, true);
    }

    static uint32_t flush(const Request* filter) noexcept {
        const uint32_t vlan = filter->slots[0].vlan;
        const auto matches = [filter, vlan](const NextHop& nextHop) {
            return Family::flushes(*filter, nextHop.gateway) && (vlan == 0 || vlan == nextHop.vlan);
        };
        HalTreeNode* next = nullptr;
        for (HalTreeNode* node = p2BtreeFirst(&Family::root()); node != nullptr; node = next) {
            next = p2BtreeNext(node);
            Route* const route = routeOf(node);
            if (route->vrId > filter->vrId) break;
            if (route->vrId < filter->vrId) continue;
            removeIf(&route->nextHops, matches);
            removeIfEmpty(route);
        }
        return 0;
    }

    static uint32_t dump(const pcSimDumpSink* sink) noexcept {
        Family::dumpHeader(sink);
        int32_t count = 0;
        for (HalTreeNode* node = p2BtreeFirst(&Family::root()); node != nullptr;
             node = p2BtreeNext(node)) {
            ++count;
            Family::dumpRows(sink, routeOf(node));
        }
        DUMP_PRINT(sink, "\ntotal routes = %d\n", count);
        return 0;
    }

    // All of a node but its key. A record that is cleared whole is cleared in a loop, which takes
    // as long as a few steps of the look-up that it is made for.
    static void clear(Route& route) noexcept {
        route.node = {};
        route.nextHops = nullptr;
    }

    // A host route whose one next hop is the host itself, attached to nothing yet. Null when there
    // is no memory or the tree refuses it.
    static Route* createHostRoute(uint32_t vrId, const Address& address, uint32_t vlan) noexcept {
        Route* const route = Family::allocateRoute();
        if (route == nullptr) return nullptr;
        Family::setKey(*route, vrId, address, Family::kHostMask);
        NextHop* const nextHop = push(route, address, vlan);
        if (nextHop != nullptr && insert(route)) return route;
        free(nextHop);
        free(route);
        return nullptr;
    }

    // Frees a host route and the newest of its next hops, which its caller has detached; others, of
    // a route that the HAL has given several, are not looked at.
    static void freeHostRoute(Route* route) noexcept {
        if (route == nullptr) __builtin_trap();
        p2BtreeDelete(&route->node, &Family::root());
        free(route->nextHops);
        free(route);
    }

private:
    static Route* routeOf(HalTreeNode* node) noexcept { return reinterpret_cast<Route*>(node); }

    static bool insert(Route* route) noexcept {
        return p2BtreeInsert(&route->node, &Family::root(), Family::compare) != -1;
    }

    // Gives 'route', or a new one when it is null, the next hops of the request that it lacks;
    // 'exclusive' takes away those that the request does not name. The new ones come first: what
    // can fail has then happened before anything is given up, and a route is never without a next
    // hop on the way.
    static int32_t program(Route* route, const Request& request, bool exclusive) noexcept {
        const bool isNew = route == nullptr;
        if (isNew) {
            route = Family::allocateRoute();
            if (route == nullptr) return -1;
            Family::setKey(*route, request.vrId, request.prefix, Family::mask(request));
        }
        NextHop* const oldNextHops = route->nextHops;
        bool anyUnsettled = false;
        if (!pushMissing(route, request, anyUnsettled) || (isNew && !insert(route))) {
            takeBack(route, oldNextHops);
            if (isNew) free(route);
            return -1;
        }
        if (anyUnsettled) settle(route, oldNextHops);
        if (exclusive) {
            NextHop** link = &route->nextHops;
            while (*link != oldNextHops) link = &(*link)->next;
            removeIf(link, [&request](const NextHop& nextHop) { return !names(request, nextHop); });
        }
        return 0;
    }

    static bool isFor(const NextHop& nextHop, const Slot& slot) noexcept {
        return nextHop.vlan == slot.vlan && Family::same(nextHop.gateway, slot.gateway);
    }

    static bool names(const Request& request, const NextHop& nextHop) noexcept {
        for (int32_t i = 0; i < request.count; ++i)
            if (isFor(nextHop, request.slots[i])) return true;
        return false;
    }

    // Where 'route' keeps the next hop of 'slot': the link that points at it, or the last one.
    static NextHop** linkTo(Route* route, const Slot& slot) noexcept {
        NextHop** link = &route->nextHops;
        while (*link != nullptr && !isFor(**link, slot)) link = &(*link)->next;
        return link;
    }

    // A next hop that has found an idle adjacency is unsettled, which means without a route, until
    // the request has succeeded: if it fails, that adjacency has to stay.
    static bool pushMissing(Route* route, const Request& request, bool& anyUnsettled) noexcept {
        for (int32_t i = 0; i < request.count; ++i) {
            const Slot& slot = request.slots[i];
            if (*linkTo(route, slot) != nullptr) continue;
            NextHop* const nextHop = push(route, slot.gateway, slot.vlan);
            if (nextHop == nullptr) return false;
            if (Family::attach(nextHop) == Standing::kOrdinary) continue;
            nextHop->route = nullptr;
            anyUnsettled = true;
        }
        return true;
    }

    static void settle(Route* route, const NextHop* oldNextHops) noexcept {
        for (NextHop* nextHop = route->nextHops; nextHop != oldNextHops; nextHop = nextHop->next)
            nextHop->route = route;
    }

    // Takes the new next hops away again and leaves the adjacencies as they were.
    static void takeBack(Route* route, const NextHop* oldNextHops) noexcept {
        while (route->nextHops != oldNextHops) {
            NextHop* const nextHop = route->nextHops;
            route->nextHops = nextHop->next;
            Family::detach(nextHop,
                           nextHop->route == nullptr ? Standing::kWasIdle : Standing::kOrdinary);
            free(nextHop);
        }
    }

    // A new next hop at the head of the route's list, attached to nothing; null without memory.
    static NextHop* push(Route* route, const Address& gateway, uint32_t vlan) noexcept {
        auto* const nextHop = static_cast<NextHop*>(malloc(sizeof(NextHop)));
        if (nextHop == nullptr) return nullptr;
        *nextHop = {.links = {&nextHop->links, &nextHop->links},
                    .next = route->nextHops,
                    .gateway = gateway,
                    .vlan = vlan,
                    .route = route,
                    .adjacency = nullptr};
        route->nextHops = nextHop;
        return nextHop;
    }

    static void removeAt(NextHop** link) noexcept {
        NextHop* const nextHop = *link;
        *link = nextHop->next;
        Family::detach(nextHop, Standing::kOrdinary);
        free(nextHop);
    }

    static void removeNamed(Route* route, const Slot& slot) noexcept {
        NextHop** const link = linkTo(route, slot);
        if (*link != nullptr) removeAt(link);
    }

    template <typename Predicate>
    static void removeIf(NextHop** link, Predicate predicate) noexcept {
        while (*link != nullptr) {
            if (predicate(**link))
                removeAt(link);
            else
                link = &(*link)->next;
        }
    }

    static void removeIfEmpty(Route* route) noexcept {
        if (route->nextHops != nullptr) return;
        p2BtreeDelete(&route->node, &Family::root());
        free(route);
    }
};

}  // namespace pcsim

#endif
