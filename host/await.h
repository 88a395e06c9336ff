// Interfaces that somebody else brings, after pcsim has started: cables of a container.
#ifndef PCSIM_HOST_AWAIT_H
#define PCSIM_HOST_AWAIT_H

namespace pcsim::host {

// Returns when eth1 to eth'ports' are there. Throws a CommandError when SIGINT or SIGTERM comes
// first, which a container's first process has to take itself.
void awaitInterfaces(unsigned ports);

}  // namespace pcsim::host

#endif
