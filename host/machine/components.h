// Gives the logger's components to the platform.
#ifndef PCSIM_HOST_MACHINE_COMPONENTS_H
#define PCSIM_HOST_MACHINE_COMPONENTS_H

#include "host/core/logger.h"

namespace pcsim::host {

// 'logger' must live as long as the platform is used.
void attachComponents(Logger& logger);

}  // namespace pcsim::host

#endif
