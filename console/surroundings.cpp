// Interrupts as errors.
#include "console/surroundings.h"

#include "console/error.h"

namespace pcsim {

void Surroundings::checkInterrupt() const {
    if (interrupted()) fail("interrupted");
}

}  // namespace pcsim
