// The door of other programs: the socket of this instance, and what it tells of itself.
#ifndef PCSIM_HOST_SERVE_H
#define PCSIM_HOST_SERVE_H

#include <memory>
#include <string>

#include "console/server/server.h"
#include "host/machine/machine.h"
#include "host/options.h"

namespace pcsim::host {

struct SocketDoor {
    std::unique_ptr<InstanceSocket> socket;  // null without one
    std::string problem;                     // why not
};

// In the folder of the user who has started the program: before it enters a lab, where it is
// another. Throws a CommandError when the command line asks for a socket that can't be.
SocketDoor openSocket(const CommandLine& line);

ServerFacts serverFactsOf(Machine& machine);

// Lets time pass until the program is to end.
void serve(Surroundings& surroundings);

}  // namespace pcsim::host

#endif
