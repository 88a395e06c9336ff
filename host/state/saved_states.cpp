// Finding checkpoints.
#include "host/state/saved_states.h"

#include <algorithm>

#include "console/error.h"

namespace pcsim::host {

namespace {

constexpr const char* kNoCheckpoints = "there are no checkpoints; 'checkpoint NAME' makes one";

}  // namespace

std::shared_ptr<const Checkpoint> SavedStates::checkpoint(const std::string& name) const {
    const auto found = checkpoints.find(name);
    if (found != checkpoints.end()) return found->second;
    if (checkpoints.empty()) fail("{}", kNoCheckpoints);
    std::string names;
    for (const auto& [other, checkpoint] : checkpoints)
        names += (names.empty() ? "" : ", ") + other;
    fail("there is no checkpoint {}; expected one of {}", name, names);
}

const std::string& SavedStates::newest() const {
    if (checkpoints.empty()) fail("{}", kNoCheckpoints);
    return std::ranges::max_element(checkpoints, {},
                                    [](const auto& entry) { return entry.second->number; })
        ->first;
}

}  // namespace pcsim::host
