// What is read off a card's timeline, and the names of its states.
#include "host/cards/card.h"

namespace pcsim::host {

const char* cardStateName(CardState state) {
    switch (state) {
        case CardState::kEmpty:
            return "empty";
        case CardState::kPresent:
            return "present";
        case CardState::kPoweringOn:
            return "powering on";
        case CardState::kTesting:
            return "self test";
        case CardState::kDownloading:
            return "downloading";
        case CardState::kBooting:
            return "booting";
        case CardState::kOperational:
            return "operational";
        case CardState::kDiagnosing:
            return "diagnostics";
        case CardState::kPoweringOff:
            return "powering off";
        case CardState::kPoweredOff:
            return "powered off";
        case CardState::kFailed:
            return "failed";
    }
    return "?";
}

std::optional<uint64_t> Card::durationMs(CardState in, uint64_t nowMs) const {
    for (size_t i = 0; i < timeline.size(); ++i) {
        if (timeline[i].state != in) continue;
        const uint64_t endMs = i + 1 < timeline.size() ? timeline[i + 1].timeMs : nowMs;
        return endMs - timeline[i].timeMs;
    }
    return std::nullopt;
}

std::optional<uint64_t> Card::bringUpMs() const {
    for (const CardStep& step : timeline)
        if (step.state == CardState::kOperational) return step.timeMs - timeline.front().timeMs;
    return std::nullopt;
}

}  // namespace pcsim::host
