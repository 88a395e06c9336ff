// Verbs of slots and cards.
#include "host/verbs/host_verbs.h"

#include "console/text.h"
#include "host/cards/card_manager.h"

namespace pcsim::host {

namespace {

Report showSlots(Call& call) {
    Table table{"slots",
                "Slots",
                {{"slot", "Slot", Align::kRight},
                 {"card", "Card"},
                 {"type", "Type", Align::kRight},
                 {"state", "State"},
                 {"ports", "Ports", Align::kRight},
                 {"interfaces", "Interfaces"}},
                {},
                "",
                ""};
    CardManager& cards = call.machine.cards();
    for (const auto& [slot, card] : cards.cards()) {
        if (card.state == CardState::kEmpty) {
            table.rows.push_back({slot, Cell(), Cell(), "empty", Cell(), Cell()});
            continue;
        }
        const HalCardSlotDb& record = call.context.platform.slotRecord(slot);
        const auto number = static_cast<uint32_t>(slot);
        std::string interfaces = "-";
        if (record.portCount != 0)
            interfaces = fmt::format("eth{} to eth{}", cards.interfaceNumber(number, 1),
                                     cards.interfaceNumber(number, record.portCount));
        table.rows.push_back({slot, CardManager::cardName(card), card.info.cardType,
                              cardStateName(card.state), record.portCount, interfaces});
    }
    return table;
}

// Keys and titles of the identity of a part: its description, serial and part number.
struct PartNames {
    const char* keys[3];
    const char* titles[3];
};
constexpr PartNames kCardPart{{"card", "cardSerial", "cardNumber"},
                              {"Card", "Card serial", "Card part"}};
constexpr PartNames kCpuPart{{"cpu", "cpuSerial", "cpuNumber"},
                             {"CPU subsystem", "CPU subsystem serial", "CPU subsystem part"}};

void addPart(Fields& fields, const PartNames& names, const HalPartInfo& part) {
    const std::string values[] = {textOf(part.description), textOf(part.serialNumber),
                                  textOf(part.partNumber)};
    for (size_t i = 0; i < 3; ++i)
        fields.fields.push_back({names.keys[i], names.titles[i], values[i]});
}

Cell seconds(std::optional<uint64_t> ms) {
    if (!ms) return {};
    return Cell(Cell(*ms), fmt::format("{}.{:03}", *ms / 1000, *ms % 1000));
}

// The wall: what every slot is at, since and until when, and how long each step of its card took.
Report showCards(Call& call) {
    Table table{"cards",
                "Cards (times in s)",
                {{"slot", "Slot", Align::kRight},
                 {"card", "Card"},
                 {"state", "State"},
                 {"sinceMs", "Since", Align::kRight},
                 {"dueMs", "Due", Align::kRight},
                 {"bringUpMs", "Up in", Align::kRight},
                 {"powerMs", "Power", Align::kRight},
                 {"testMs", "Test", Align::kRight},
                 {"downloadMs", "Load", Align::kRight},
                 {"bootMs", "Boot", Align::kRight}},
                {},
                "",
                ""};
    const uint64_t now = call.context.scheduler.nowMs();
    size_t present = 0, operational = 0;
    CardManager& cards = call.machine.cards();
    for (const auto& [slot, card] : cards.cards()) {
        present += card.state != CardState::kEmpty ? 1 : 0;
        operational += cards.operational(slot) ? 1 : 0;
        table.rows.push_back(
            {slot, card.state == CardState::kEmpty ? Cell() : Cell(CardManager::cardName(card)),
             cardStateName(card.state), seconds(card.stateSinceMs),
             seconds(call.context.scheduler.dueMs(card.awaited)), seconds(card.bringUpMs()),
             seconds(card.durationMs(CardState::kPoweringOn, now)),
             seconds(card.durationMs(CardState::kTesting, now)),
             seconds(card.durationMs(CardState::kDownloading, now)),
             seconds(card.durationMs(CardState::kBooting, now))});
    }
    table.footer = fmt::format("{} of {} operational", operational,
                               present == 1 ? "1 card is" : fmt::format("{} cards are", present));
    return table;
}

// When the card entered each state, and how long it stayed.
Table timeline(const Card& card, uint64_t nowMs) {
    Table table{"timeline",
                "Time line",
                {{"state", "State"},
                 {"fromMs", "From s", Align::kRight},
                 {"durationMs", "For s", Align::kRight}},
                {},
                "none",
                ""};
    for (size_t i = 0; i < card.timeline.size(); ++i) {
        const CardStep& step = card.timeline[i];
        const bool last = i + 1 == card.timeline.size();
        table.rows.push_back({cardStateName(step.state), seconds(step.timeMs),
                              seconds((last ? nowMs : card.timeline[i + 1].timeMs) - step.timeMs)});
    }
    return table;
}

Report showCard(Call& call) {
    Context& context = call.context;
    const Card& card = call.machine.cards().presentCard(slotOf(call));
    int32_t temperature = 0, odometer = 0;
    auto& slot = context.platform.slot(card.slot);
    context.platform.call(slot, &HalCardSlotOps::cardReadTemperature, card.slot, &temperature);
    context.platform.call(slot, &HalCardSlotOps::cardGetOdometer, card.slot, &odometer);
    Fields fields{"card",
                  CardManager::slotName(card.slot),
                  {{"slot", "Slot", card.slot},
                   {"name", "Name", CardManager::cardName(card)},
                   {"type", "Type", card.info.cardType},
                   {"state", "State", cardStateName(card.state)},
                   {"insertedMs", "Inserted at s", seconds(card.insertedMs)},
                   {"bringUpMs", "Up in s", seconds(card.bringUpMs())},
                   {"ports", "Ports", context.platform.slotRecord(card.slot).portCount}}};
    addPart(fields, kCardPart, card.info.cardPart);
    addPart(fields, kCpuPart, card.info.cpuSubSystemPart);
    const std::pair<const char*, std::string> versions[] = {
        {"Boot strap", textOf(card.info.bootStrapVersion)},
        {"Boot ROM", textOf(card.info.bootRomVersion)},
        {"Software", textOf(card.info.softwareVersion)}};
    static constexpr const char* kKeys[] = {"bootStrap", "bootRom", "software"};
    for (size_t i = 0; i < 3; ++i)
        if (!versions[i].second.empty())
            fields.fields.push_back({kKeys[i], versions[i].first, versions[i].second});
    fields.fields.push_back(
        {"temperature", "Temperature",
         Cell(Cell(temperature), fmt::format("{}.{:02} C", temperature / 100, temperature % 100))});
    fields.fields.push_back({"odometer", "Odometer", odometer});
    if (!card.lastDiagnostics.empty())
        fields.fields.push_back({"diagnostics", "Diagnostics", card.lastDiagnostics});
    return Report(fields).add(timeline(card, context.scheduler.nowMs()));
}

void commandCard(Call& call) {
    CardManager& cards = call.machine.cards();
    Card& card = cards.presentCard(slotOf(call));
    if (call.has("power"))
        call.text("power") == "on" ? cards.powerOn(card) : cards.powerOff(card);
    else if (call.text("action") == "diag")
        cards.runDiagnostics(card);
    else if (call.text("action") == "reset")
        cards.reset(card);
    else
        cards.remove(card.slot);
}

}  // namespace

void addCardVerbs(HostVerbs& verbs) {
    verbs.show("show slots", "slots and the cards in them", showSlots);
    verbs.show("show cards", "state of every card, and how long each of its steps took", showCards);
    verbs.show("show card <slot*:text>", "identity, readings and time line of one card", showCard);
    verbs.action("card <slot*:text> power <power:on|off>", "switch a card on or off", commandCard);
    verbs.action("card <slot*:text> <action:diag|reset|remove>",
                 "run diagnostics, switch off and on again, pull the card out", commandCard);
    verbs.action("card <slot*:text> insert", "put a card into an empty slot",
                 [](Call& call) { call.machine.cards().insert(slotOf(call)); });
}

}  // namespace pcsim::host
