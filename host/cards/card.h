// A card as the card manager knows it: where in its life it is, since when, and what it waits for.
#ifndef PCSIM_HOST_CARDS_CARD_H
#define PCSIM_HOST_CARDS_CARD_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/core/scheduler.h"
#include "pcsim/card.h"

namespace pcsim::host {

// In the order in which a card passes through them.
enum class CardState {
    kEmpty,
    kPresent,     // seen in its slot, not powered
    kPoweringOn,  // waiting for the power report
    kTesting,     // extended self test
    kDownloading,
    kBooting,
    kOperational,
    kDiagnosing,  // in service all the while
    kPoweringOff,
    kPoweredOff,  // by command
    kFailed,
};

const char* cardStateName(CardState state);

struct CardStep {
    CardState state;
    uint64_t timeMs;
};

struct Card {
    int slot = 0;
    CardState state = CardState::kEmpty;
    HalCardHwInfo info{};
    uint64_t stateSinceMs = 0;
    uint64_t insertedMs = 0;
    // Since the card appeared or was last switched on or off, so it has a handful of steps.
    std::vector<CardStep> timeline;
    std::string lastDiagnostics;

    Scheduler::Id awaited = 0;  // the task that brings the report it waits for, 0: none
    Scheduler::Id watch = 0;    // of the timer that misses it
    bool initialised = false;   // between cardInit and cardCleanup
    bool inService = false;     // between cardUp and cardDown of the managers
    bool resetting = false;     // switched off only to be switched on again

    // How long the card was, or has been, in a state of its time line; nothing when it wasn't.
    std::optional<uint64_t> durationMs(CardState in, uint64_t nowMs) const;
    // From insertion, or the last power-on, to operational.
    std::optional<uint64_t> bringUpMs() const;
};

}  // namespace pcsim::host

#endif
