// The one IPv4 route that most tests of the table work on, and its next hops.
#ifndef PCSIM_TESTS_L3_ONE_ROUTE_H
#define PCSIM_TESTS_L3_ONE_ROUTE_H

#include <gtest/gtest.h>

#include "tests/platform/l3/support.h"

#define EXPECT_TRAP(statement) EXPECT_EXIT(statement, testing::KilledBySignal(SIGILL), "")

namespace pcsim::test {

inline const Hop kA{"10.0.0.1", 5};
inline const Hop kB{"10.0.0.2", 5};
inline const Hop kC{"10.0.0.3", 5};
constexpr const char* kNet = "10.1.0.0";
constexpr const char* kMask = "255.255.0.0";

inline int32_t add(const Hops& hops) {
    return pcSimPCFamIPv4FibAddEntry(Request4(0, kNet, kMask, hops));
}
inline int32_t add(const Hops& hops, int32_t count) {
    return pcSimPCFamIPv4FibAddEntry(Request4(0, kNet, kMask, hops, count));
}
inline uint32_t remove(const Hops& hops) {
    return pcSimPCFamIPv4FibDeleteEntry(Request4(0, kNet, kMask, hops));
}
inline uint32_t remove(const Hops& hops, int32_t count) {
    return pcSimPCFamIPv4FibDeleteEntry(Request4(0, kNet, kMask, hops, count));
}
inline int32_t replace(const Hops& hops) {
    return pcSimPCFamIPv4FibReplaceEntry(Request4(0, kNet, kMask, hops));
}
inline pcSimIPv4FibRoute* theRoute() {
    return route4(0, kNet, kMask);
}

inline uint32_t references(const Hop& hop, uint32_t vrId = 0) {
    const pcSimIpAdjEntry* entry = adjacency(vrId, hop.gateway.c_str(), hop.vlan);
    return entry == nullptr ? 0 : entry->refCount;
}

}  // namespace pcsim::test

#endif
