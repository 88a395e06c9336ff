// The hooks of the multicast database. The platform calls them by name, so these definitions, being
// the executable's, take the place of its own empty ones.
#include "host/mcast/hooks.h"

namespace pcsim::host {

namespace {
McastHooks hookCounts;
}

const McastHooks& mcastHooks() {
    return hookCounts;
}

}  // namespace pcsim::host

extern "C" {

void ptagInit() noexcept;
void ptagRelease() noexcept;
void asicAddPort() noexcept;
void asicDelPort() noexcept;

void ptagInit() noexcept {
    ++pcsim::host::hookCounts.cachesMade;
}

void ptagRelease() noexcept {
    ++pcsim::host::hookCounts.cachesReleased;
}

void asicAddPort() noexcept {
    ++pcsim::host::hookCounts.portsAdded;
}

void asicDelPort() noexcept {
    ++pcsim::host::hookCounts.portsRemoved;
}
}
