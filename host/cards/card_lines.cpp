// The lines of cards: what was put in, pulled out or switched off.
#include "host/cards/card_manager.h"
#include "host/core/lines.h"

namespace pcsim::host {

namespace {

// Of a card that reports its steps late, what comes next has to wait for them.
std::string waitFor(int slot, const char* state) {
    constexpr unsigned kLongestMs = 60000;  // the steps of a bring-up take 22 s
    return fmt::format("wait show cards -- {}.state is {} within {}", slot, state, kLongestMs);
}

}  // namespace

bool CardManager::reportsLate(int slot) const {
    constexpr int kLastIoSlot = 8;
    return context_.options.remoteIo && slot <= kLastIoSlot;
}

// Presence goes by what the host has seen: a mask that waits for the next poll isn't there yet. A
// card that is on its way will be operational. None is made to fail: that is told alone.
void CardManager::running(Lines& lines) {
    std::vector<int> late;
    for (const auto& [slot, card] : cards_) {
        const bool present = card.state != CardState::kEmpty;
        const std::string name = fmt::format("card {} ", slot);
        if (present != presentAtBoot_.contains(slot))
            lines.add(name + (present ? "insert" : "remove"),
                      name + (present ? "remove" : "insert"));
        const bool off =
            card.state == CardState::kPoweredOff || card.state == CardState::kPoweringOff;
        if (off && !card.resetting)
            lines.add(name + "power off",
                      (reportsLate(slot) ? waitFor(slot, "\"powered off\"") + "\n" : "") + name +
                          "power on");
        else if (card.state == CardState::kFailed)
            lines.add("# " + name + "failed", name + "power on");
        else if (present && reportsLate(slot))
            late.push_back(slot);
    }
    for (const int slot : late) lines.add(waitFor(slot, "operational"), "");
}

}  // namespace pcsim::host
