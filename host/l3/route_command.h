// Commands of routes as they stand in a saved state, a million of them:
//     route add|del PREFIX [via ADDRESS vlan VLAN]... [vr N]
// done without the way through the console's grammar.
#ifndef PCSIM_HOST_L3_ROUTE_COMMAND_H
#define PCSIM_HOST_L3_ROUTE_COMMAND_H

#include <string_view>
#include <vector>

#include "host/l3/route_load.h"

namespace pcsim::host {

class RouteCommands {
public:
    explicit RouteCommands(L3Manager& manager) : manager_(manager) {}

    // Whether the line was such a command, and has been done. One with anything wrong in it isn't:
    // the verb says what. Throws a CommandError when the platform refuses.
    bool take(std::string_view line);

private:
    bool takeTail(std::string_view rest);
    template <typename Family>
    bool change(bool add, const IpPrefix& prefix);

    L3Manager& manager_;
    std::vector<TypedHop> hops_;
    uint32_t vr_ = 0;
};

}  // namespace pcsim::host

#endif
