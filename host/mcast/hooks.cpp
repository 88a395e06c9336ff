// The hooks of the multicast database. The platform calls them by name, so these definitions, being
// the executable's, take the place of its own empty ones.
#include "host/mcast/hooks.h"

namespace pcsim::host {

namespace {
McastHooks counts;
}

const McastHooks& mcastHooks() {
    return counts;
}

}  // namespace pcsim::host

extern "C" {

void ptagInit() noexcept;
void ptagRelease() noexcept;
void asicAddPort() noexcept;
void asicDelPort() noexcept;

void ptagInit() noexcept {
    ++pcsim::host::counts.cachesMade;
}

void ptagRelease() noexcept {
    ++pcsim::host::counts.cachesReleased;
}

void asicAddPort() noexcept {
    ++pcsim::host::counts.portsAdded;
}

void asicDelPort() noexcept {
    ++pcsim::host::counts.portsRemoved;
}
}
