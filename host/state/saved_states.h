// The checkpoints of an instance, and whether a state is being loaded or restored.
#ifndef PCSIM_HOST_STATE_SAVED_STATES_H
#define PCSIM_HOST_STATE_SAVED_STATES_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "host/state/state_text.h"

namespace pcsim::host {

struct Checkpoint {
    StateText state;
    uint64_t timeMs = 0;  // when it was made
    uint64_t number = 0;  // in the order in which they were made
};

struct SavedStates {
    // Whoever works with one keeps it, whatever becomes of its name meanwhile.
    std::map<std::string, std::shared_ptr<const Checkpoint>> checkpoints;
    uint64_t lastNumber = 0;
    bool changing = false;

    // The checkpoint of a name, or a CommandError that says which there are.
    std::shared_ptr<const Checkpoint> checkpoint(const std::string& name) const;
    // The name of the newest one, or a CommandError.
    const std::string& newest() const;
};

}  // namespace pcsim::host

#endif
