// The card manager: takes each present card through its life, as a HAL does.
//
// A card that appears is powered, self-tested, loaded and booted, one step after the other. The
// platform either answers a step at once, and the next follows, or it promises a report, and the
// card waits for it. When a card disappears everything that hangs on it goes first.
//
//    EMPTY
//      | appears
//      v
//    PRESENT
//      | has hardware information
//      v                             power on, or the second half of a reset
//    POWERING ON <---------------------------------------------+------------+
//      | *                                                     |            |
//      v  checked and initialised                              |            |
//    TESTING                                                   |            |
//      | *                                                     |            |
//      v                                                       |            |
//    DOWNLOADING                                               |            |
//      | *                                                     |            |
//      v                                                       |            |
//    BOOTING                                                   |            |
//      | *                                                     |            |
//      v           diagnostics                                 |            |
//    OPERATIONAL -------------> DIAGNOSING                     |            |
//      ^                          | *                          |            |
//      +--------------------------+                            |            |
//                                                              |            |
//    power off or reset, from all of these and FAILED:         |            |
//    POWERING OFF ---------- * ----------------------> POWERED OFF       FAILED
//
// * The platform answers 0, or the report that it promised with 1 arrives. Any other answer, and no
// report within 30 s, is FAILED. A card that disappears leaves EMPTY behind at once.
//
// The platform remembers no requests, so a report may come when the card that it was promised to is
// long gone, even replaced. The tasks that a request has scheduled tell whose a report is: only the
// report of the request that the card waits for counts.
#ifndef PCSIM_HOST_CARDS_CARD_MANAGER_H
#define PCSIM_HOST_CARDS_CARD_MANAGER_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/cards/card.h"
#include "host/core/context.h"
#include "pcsim/card.h"

namespace pcsim::host {

class CardManager : public Manager {
public:
    explicit CardManager(Context& context) : context_(context) {}

    void boot() override;
    void running(Lines& lines) override;

    const std::map<int, Card>& cards() const { return cards_; }
    // The card of a slot, or a CommandError that says which slots there are.
    Card& card(int slot);
    // The same, but a slot without a card is an error too.
    Card& presentCard(int slot);
    // The number that a word is, or a CommandError with the slots that there are.
    int slotNumber(const std::string& word) const;

    // N of the interface "ethN" that backs a port, from the slot's port map; kNoInterface when the
    // slot has no such port.
    static constexpr uint32_t kNoInterface = 0xFFFF;
    uint32_t interfaceNumber(uint32_t slot, uint32_t port) const;

    bool operational(int slot) const;

    // What the platform reports, from the task that runs.
    void reported(int slot, int state);

    // Commands. A CommandError when the card's state doesn't allow them.
    void powerOn(Card& card);
    void powerOff(Card& card);
    void runDiagnostics(Card& card);
    void reset(Card& card);  // off and on again

    // Puts a card into a slot or pulls it out, by the presence mask of module control, and looks
    // at once, as on an interrupt of the slot's latch.
    void insert(int slot);
    void remove(int slot);
    // Looks into every slot for cards that came or went.
    void pollPresence();

    static std::string slotName(int slot);
    static std::string cardName(const Card& card);

private:
    // What a step that the platform was asked for leads to.
    struct Answer {
        int32_t result;
        Scheduler::Id task;  // that will bring the report, 0: none was scheduled
    };
    Answer request(const std::function<int32_t()>& operation);
    // Waits for the report when the platform answered 1, carries on at once when it answered 0.
    void stepAsked(Card& card, Answer answer, CardState next);

    void enter(Card& card, CardState state);
    void settle(Card& card);
    void failed(Card& card, const std::string& why);
    void appeared(Card& card);
    void disappeared(Card& card);
    void startPower(Card& card);
    void startPowerOff(Card& card);
    void takeDown(Card& card);
    void proceed(Card& card, CardState state);
    void startTest(Card& card);
    void goOperational(Card& card);
    void diagnosed(Card& card);
    void reportMissing(int slot);
    void setPresent(int slot, bool present);
    bool reportsLate(int slot) const;

    Context& context_;
    std::map<int, Card> cards_;
    std::set<int> presentAtBoot_;  // slots
};

}  // namespace pcsim::host

#endif
