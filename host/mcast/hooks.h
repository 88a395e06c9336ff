// The switching chip behind the multicast database: the platform tells it of every cache and every
// cache port that it makes or lets go of. This host has no chip and counts.
#ifndef PCSIM_HOST_MCAST_HOOKS_H
#define PCSIM_HOST_MCAST_HOOKS_H

#include <cstdint>

namespace pcsim::host {

struct McastHooks {
    uint64_t cachesMade = 0;
    uint64_t cachesReleased = 0;
    uint64_t portsAdded = 0;
    uint64_t portsRemoved = 0;

    McastHooks operator-(const McastHooks& earlier) const {
        return {cachesMade - earlier.cachesMade, cachesReleased - earlier.cachesReleased,
                portsAdded - earlier.portsAdded, portsRemoved - earlier.portsRemoved};
    }
};

// Since the process began.
const McastHooks& mcastHooks();

}  // namespace pcsim::host

#endif
