// The life of a card.
#include "host/cards/card_manager.h"

#include "console/text.h"
#include "pcsim/host.h"

namespace pcsim::host {

namespace {

constexpr int32_t kExtendedPostMaxMs = 10000;
constexpr const char* kImage = "pcsim.img";

// A report that has not come by then never will: the longest step takes 10 s.
constexpr uint64_t kReportTimeoutMs = 30000;

}  // namespace

std::string CardManager::slotName(int slot) {
    return fmt::format("Slot {}", slot);
}

std::string CardManager::cardName(const Card& card) {
    return card.state == CardState::kEmpty ? "-" : textOf(card.info.name);
}

// Which slots a shape has: a stackable is one card in its own slot, a chassis has eight I/O slots
// and two for management modules.
void CardManager::boot() {
    if (context_.options.chassis) {
        for (int slot = 1; slot <= 10; ++slot) cards_[slot].slot = slot;
    } else {
        const int own = context_.ownSlot;
        if (own < 0 || own >= Platform::kSlots)
            fail("own slot {} is outside 0 to {}; set VORN_SLOT_ID to a slot that exists", own,
                 Platform::kSlots - 1);
        cards_[own].slot = own;
    }
    pollPresence();
    for (const auto& [slot, card] : cards_)
        if (card.state != CardState::kEmpty) presentAtBoot_.insert(slot);
    const uint32_t period = context_.platform.cardDbRecord.word0;
    context_.scheduler.every(period, "card presence poll", [this] { pollPresence(); });
}

Card& CardManager::card(int slot) {
    const auto found = cards_.find(slot);
    if (found == cards_.end())
        fail("slot {} does not exist; slots are {} to {}", slot, cards_.begin()->first,
             cards_.rbegin()->first);
    return found->second;
}

Card& CardManager::presentCard(int slot) {
    Card& found = card(slot);
    if (found.state == CardState::kEmpty) fail("slot {} is empty; insert a card first", slot);
    return found;
}

int CardManager::slotNumber(const std::string& word) const {
    const int first = cards_.begin()->first, last = cards_.rbegin()->first;
    const bool digits = !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) fail("slot '{}' is not a number; slots are {} to {}", word, first, last);
    // A number that is no slot is refused where the slot is looked for; this one fits none.
    constexpr size_t kMostDigits = 9;
    if (word.size() > kMostDigits)
        fail("slot {} does not exist; slots are {} to {}", word, first, last);
    return std::stoi(word);
}

uint32_t CardManager::interfaceNumber(uint32_t slot, uint32_t port) const {
    if (slot >= static_cast<uint32_t>(Platform::kSlots)) return kNoInterface;
    const HalCardSlotDb& record = context_.platform.slotRecord(static_cast<int>(slot));
    if (record.portMap == nullptr || port == 0 || port > record.portCount) return kNoInterface;
    return record.portMap[port - 1];
}

bool CardManager::operational(int slot) const {
    const auto found = cards_.find(slot);
    return found != cards_.end() && (found->second.state == CardState::kOperational ||
                                     found->second.state == CardState::kDiagnosing);
}

void CardManager::enter(Card& card, CardState state) {
    card.state = state;
    card.stateSinceMs = context_.scheduler.nowMs();
    card.timeline.push_back({state, card.stateSinceMs});
    context_.events.note("card", "{} {} {}", slotName(card.slot), cardName(card),
                         cardStateName(state));
}

// Waits for no report any more.
void CardManager::settle(Card& card) {
    card.awaited = 0;
    context_.scheduler.cancel(card.watch);
}

void CardManager::failed(Card& card, const std::string& why) {
    settle(card);
    card.resetting = false;
    context_.events.note("card", "{} {}: {}", slotName(card.slot), cardStateName(card.state), why);
    takeDown(card);
    enter(card, CardState::kFailed);
}

// --- Presence -----------------------------------------------------------------------------------

void CardManager::pollPresence() {
    for (auto& [slot, card] : cards_) {
        const bool present =
            context_.platform.call(context_.platform.cardDb, &HalCardDbOps::isCardHwPresent,
                                   slot) == HAL_CARD_HW_PRESENT;
        if (present && card.state == CardState::kEmpty) appeared(card);
        if (!present && card.state != CardState::kEmpty) disappeared(card);
    }
}

void CardManager::appeared(Card& card) {
    Platform& platform = context_.platform;
    card.timeline.clear();
    card.insertedMs = context_.scheduler.nowMs();
    platform.setUpSlot(card.slot);
    card.info = {};
    const int32_t result = platform.call(platform.slot(card.slot), &HalCardSlotOps::cardGetHwInfo,
                                         card.slot, &card.info);
    card.state = CardState::kPresent;
    enter(card, CardState::kPresent);
    if (result != 0)
        failed(card, fmt::format("no hardware information, the platform answered {}", result));
    else
        startPower(card);
}

// Everything that hangs on the card goes before the card does.
void CardManager::disappeared(Card& card) {
    context_.events.note("card", "{} {} removed", slotName(card.slot), cardName(card));
    settle(card);
    card.resetting = false;
    takeDown(card);
    card.state = CardState::kEmpty;
    card.stateSinceMs = context_.scheduler.nowMs();
    card.timeline.clear();
    card.lastDiagnostics.clear();
    context_.events.note("card", "{} empty", slotName(card.slot));
}

// Takes the card out of service and gives its resources back.
void CardManager::takeDown(Card& card) {
    Platform& platform = context_.platform;
    if (card.inService) {
        card.inService = false;
        context_.managers.cardDown(card.slot);
        platform.call(platform.cardDb, &HalCardDbOps::cardLinkIntrEnable, card.slot, 0);
        platform.call(platform.cardDb, &HalCardDbOps::cardOffline);
    }
    if (card.initialised) {
        card.initialised = false;
        platform.call(platform.slot(card.slot), &HalCardSlotOps::cardCleanup, card.slot);
    }
}

// The platform is told all slots at once.
void CardManager::setPresent(int slot, bool present) {
    Platform& platform = context_.platform;
    const uint32_t bit = 1u << slot;
    uint32_t mask = platform.cardPresentMask();
    mask = present ? mask | bit : mask & ~bit;
    platform.call(platform.system, &HalSystemOps::moduleIoctl, 0u, HAL_MODULE_SET_CARDS, &mask);
    pollPresence();
}

void CardManager::insert(int slot) {
    if (card(slot).state != CardState::kEmpty)
        fail("slot {} holds a card already; remove it first", slot);
    setPresent(slot, true);
}

void CardManager::remove(int slot) {
    presentCard(slot);
    setPresent(slot, false);
}

// --- Requests and their reports -----------------------------------------------------------------

CardManager::Answer CardManager::request(const std::function<int32_t()>& operation) {
    const Scheduler::Id before = context_.scheduler.lastId();
    const int32_t result = operation();
    const Scheduler::Id last = context_.scheduler.lastId();
    return {result, last == before ? 0 : last};
}

void CardManager::stepAsked(Card& card, Answer answer, CardState next) {
    if (answer.result == 0) {
        proceed(card, next);
    } else if (answer.result == 1) {
        card.watch = context_.scheduler.after(kReportTimeoutMs, "card report watch",
                                              [this, slot = card.slot] { reportMissing(slot); });
        // A report that nothing will bring is waited for all the same.
        card.awaited = answer.task != 0 ? answer.task : card.watch;
    } else {
        failed(card, fmt::format("the platform answered {}", answer.result));
    }
}

void CardManager::reportMissing(int slot) {
    failed(cards_.at(slot), fmt::format("no report within {} s", kReportTimeoutMs / 1000));
}

// A report counts only for the request that waits for it: what was promised to a card that has been
// removed, switched off or replaced since is late.
void CardManager::reported(int slot, int state) {
    const auto found = cards_.find(slot);
    if (found == cards_.end()) {
        context_.events.note("card", "{} does not exist: report \"{}\" ignored", slotName(slot),
                             halGetCardStateString(state));
        return;
    }
    Card& card = found->second;
    struct Expected {
        int report;
        CardState waiting;
        CardState next;
    };
    static constexpr Expected kExpected[] = {
        {HAL_CARD_STATE_POWERED_ON, CardState::kPoweringOn, CardState::kTesting},
        {HAL_CARD_STATE_POST_DONE, CardState::kTesting, CardState::kDownloading},
        {HAL_CARD_STATE_DOWNLOADED, CardState::kDownloading, CardState::kBooting},
        {HAL_CARD_STATE_BOOTED, CardState::kBooting, CardState::kOperational},
        {HAL_CARD_STATE_DIAG_DONE, CardState::kDiagnosing, CardState::kOperational},
        {HAL_CARD_STATE_POWERED_OFF, CardState::kPoweringOff, CardState::kPoweredOff},
    };
    if (card.awaited != 0 && card.awaited == context_.scheduler.runningId()) {
        for (const Expected& expected : kExpected) {
            if (expected.report != state || expected.waiting != card.state) continue;
            settle(card);
            proceed(card, expected.next);
            return;
        }
    }
    context_.events.note("card", "{} {}: late report \"{}\" ignored", slotName(slot),
                         cardStateName(card.state), halGetCardStateString(state));
}

// --- Steps --------------------------------------------------------------------------------------

void CardManager::startPower(Card& card) {
    enter(card, CardState::kPoweringOn);
    Platform& platform = context_.platform;
    stepAsked(card, request([&] {
                  return platform.call(platform.cardDb, &HalCardDbOps::cardPowerEnable, card.slot,
                                       1);
              }),
              CardState::kTesting);
}

void CardManager::startPowerOff(Card& card) {
    settle(card);
    card.timeline.clear();
    takeDown(card);
    enter(card, CardState::kPoweringOff);
    Platform& platform = context_.platform;
    stepAsked(card, request([&] {
                  return platform.call(platform.cardDb, &HalCardDbOps::cardPowerEnable, card.slot,
                                       0);
              }),
              CardState::kPoweredOff);
}

void CardManager::startTest(Card& card) {
    Platform& platform = context_.platform;
    auto& slot = platform.slot(card.slot);
    int32_t result = platform.call(slot, &HalCardSlotOps::cardPowerOnCheck, card.slot);
    if (result == 0) {
        card.initialised = true;
        result = platform.call(slot, &HalCardSlotOps::cardInit, card.slot);
    }
    if (result != 0) {
        failed(card, fmt::format("the platform answered {}", result));
        return;
    }
    enter(card, CardState::kTesting);
    stepAsked(card, request([&] {
                  return platform.call(slot, &HalCardSlotOps::cardRunExtPost, card.slot,
                                       kExtendedPostMaxMs);
              }),
              CardState::kDownloading);
}

// Starts the step that 'state' stands for. Each step ends with an answer or a report that starts
// the next.
void CardManager::proceed(Card& card, CardState state) {
    Platform& platform = context_.platform;
    auto& slot = platform.slot(card.slot);
    switch (state) {
        case CardState::kTesting:
            startTest(card);
            return;
        case CardState::kDownloading:
            enter(card, CardState::kDownloading);
            stepAsked(card, request([&] {
                          return platform.call(slot, &HalCardSlotOps::cardStartDownload, card.slot,
                                               kImage);
                      }),
                      CardState::kBooting);
            return;
        case CardState::kBooting:
            enter(card, CardState::kBooting);
            stepAsked(card, request([&] {
                          return platform.call(slot, &HalCardSlotOps::cardStartBooting, card.slot);
                      }),
                      CardState::kOperational);
            return;
        case CardState::kOperational:
            if (card.state == CardState::kDiagnosing)
                diagnosed(card);
            else
                goOperational(card);
            return;
        case CardState::kPoweredOff:
            enter(card, CardState::kPoweredOff);
            if (!card.resetting) return;
            card.resetting = false;
            powerOn(card);
            return;
        default:
            return;
    }
}

void CardManager::goOperational(Card& card) {
    Platform& platform = context_.platform;
    platform.call(platform.cardDb, &HalCardDbOps::cardLinkIntrEnable, card.slot, 1);
    card.inService = true;
    enter(card, CardState::kOperational);
    context_.managers.cardUp(card.slot);
}

void CardManager::diagnosed(Card& card) {
    Platform& platform = context_.platform;
    HalCardDiagnosticsResult result{};
    platform.call(platform.slot(card.slot), &HalCardSlotOps::cardDiagnosticsGetResult, card.slot,
                  &result);
    card.lastDiagnostics = textOf(result.message);
    context_.events.note("card", "{} diagnostics: {}", slotName(card.slot), card.lastDiagnostics);
    enter(card, CardState::kOperational);
}

// --- Commands -----------------------------------------------------------------------------------

void CardManager::powerOn(Card& card) {
    if (card.state != CardState::kPoweredOff && card.state != CardState::kFailed)
        fail("slot {} is {}; only a card that is powered off or failed can be powered on",
             card.slot, cardStateName(card.state));
    card.timeline.clear();
    startPower(card);
}

void CardManager::powerOff(Card& card) {
    if (card.state == CardState::kPoweredOff || card.state == CardState::kPoweringOff)
        fail("slot {} is {} already", card.slot, cardStateName(card.state));
    card.resetting = false;
    startPowerOff(card);
}

void CardManager::reset(Card& card) {
    if (card.state == CardState::kPoweredOff || card.state == CardState::kPoweringOff)
        fail("slot {} is {}; 'card {} power on' brings it up", card.slot, cardStateName(card.state),
             card.slot);
    card.resetting = true;
    startPowerOff(card);
}

void CardManager::runDiagnostics(Card& card) {
    if (card.state != CardState::kOperational)
        fail("slot {} is {}; diagnostics need an operational card", card.slot,
             cardStateName(card.state));
    // The time line keeps the bring-up and the latest diagnostics.
    while (card.timeline.back().state == CardState::kOperational && card.timeline.size() > 2 &&
           card.timeline[card.timeline.size() - 2].state == CardState::kDiagnosing)
        card.timeline.resize(card.timeline.size() - 2);
    enter(card, CardState::kDiagnosing);
    Platform& platform = context_.platform;
    stepAsked(card, request([&] {
                  return platform.call(platform.slot(card.slot),
                                       &HalCardSlotOps::cardDiagnosticsRun, card.slot);
              }),
              CardState::kOperational);
}

}  // namespace pcsim::host
