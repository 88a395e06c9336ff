// Interrupts as errors.
#include "console/surroundings.h"

#include "console/error.h"

namespace pcsim {

void Surroundings::checkInterrupt() const {
    if (interrupted()) throw CommandError("interrupted", ErrorCode::kInterrupted);
}

}  // namespace pcsim
