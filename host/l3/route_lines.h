// Routes as text: each route's key and next hops, the oldest first, as it has to be added again.
#ifndef PCSIM_HOST_L3_ROUTE_LINES_H
#define PCSIM_HOST_L3_ROUTE_LINES_H

#include <cstdint>
#include <string>

#include "console/output_file.h"
#include "host/l3/l3_manager.h"

namespace pcsim::host {

// What stands before and behind the address of a next hop: " via 10.0.0.1 vlan 5", or in a file of
// routes " 10.0.0.1 5".
struct HopWords {
    const char* via;
    const char* vlan;
};
inline constexpr HopWords kCommandHop{" via ", " vlan "}, kFileHop{" ", " "};

// Appends the next hops from 'first' on, at most 'most' of them, counted from the oldest.
template <typename Family>
void appendHops(std::string& text, L3Manager::Hops<Family> newestFirst, size_t first, size_t most,
                const HopWords& words) {
    const size_t end = std::min(newestFirst.size(), first + most);
    for (size_t i = first; i < end; ++i) {
        const auto& hop = newestFirst[newestFirst.size() - 1 - i];
        text += words.via;
        text += Family::text(hop.gateway);
        text += words.vlan;
        text += std::to_string(hop.vlan);
    }
}

// Writes the routes of a virtual router as a file that loadRoutes() reads. How many there are.
uint64_t saveRoutes(const L3Manager& manager, uint32_t vr, OutputFile& file,
                    const Surroundings& surroundings);

}  // namespace pcsim::host

#endif
