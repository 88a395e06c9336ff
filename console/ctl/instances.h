// The instances of this user that run.
#ifndef PCSIM_CONSOLE_CTL_INSTANCES_H
#define PCSIM_CONSOLE_CTL_INSTANCES_H

#include <memory>
#include <string>
#include <vector>

#include "console/ctl/link.h"
#include "console/report.h"

namespace pcsim {

// By name, with a link each.
std::vector<std::unique_ptr<Link>> runningInstances(Signals& signals);

// The one with this name, or the only one that begins with it. Throws a CommandError that says
// which there are.
std::unique_ptr<Link> instanceNamed(const std::string& name, Signals& signals);

// Name, shape, clock, how long it is up, ports.
Report listOf(const std::vector<std::unique_ptr<Link>>& instances);

}  // namespace pcsim

#endif
