// Verbs of fans, power supplies and odometers.
#include "host/verbs/host_verbs.h"

#include "host/cards/card_manager.h"
#include "host/environment/environment_monitor.h"

namespace pcsim::host {

namespace {

Cell cellOf(const Reading& reading) {
    return reading ? Cell(*reading) : Cell();
}

// Hundredths of a degree.
Cell degrees(const Reading& reading) {
    if (!reading) return {};
    return Cell(Cell(*reading), fmt::format("{}.{:02}", *reading / 100, *reading % 100));
}

Cell stateOf(const Unit& unit) {
    return unit.present ? unit.failing ? "failing" : "present" : "removed";
}

Cell orDash(const std::string& text) {
    return text.empty() ? Cell() : Cell(text);
}

Table identities(const UnitMonitor& monitor, const char* column, const char* columnTitle) {
    Table table{"identities",
                fmt::format("What the {} are", column == std::string("fan") ? "fans" : "supplies"),
                {{column, columnTitle, Align::kRight},
                 {"name", "Name"},
                 {"serial", "Serial"},
                 {"part", "Part"},
                 {"version", "Version"},
                 {"build", "Build"}},
                {},
                "",
                ""};
    for (const auto& [number, unit] : monitor.units()) {
        const UnitIdentity& is = unit.identity;
        if (unit.present)
            table.rows.push_back({number, orDash(is.name), orDash(is.serial), orDash(is.part),
                                  orDash(is.version), orDash(is.build)});
    }
    return table;
}

Report showFans(Call& call) {
    const UnitMonitor& fans = call.machine.environment().fans();
    Table table{"fans",
                "Fans",
                {{"fan", "Fan", Align::kRight},
                 {"state", "State"},
                 {"rpm", "RPM", Align::kRight},
                 {"setPercent", "Set %", Align::kRight},
                 {"temperature", "Temp C", Align::kRight},
                 {"odometer", "Odometer", Align::kRight}},
                {},
                "",
                ""};
    for (const auto& [number, fan] : fans.units())
        table.rows.push_back(
            {number, stateOf(fan), fan.own.empty() ? Cell() : cellOf(fan.own[kFanSpeed]),
             cellOf(fan.commanded), degrees(fan.temperature), cellOf(fan.odometer)});
    return Report(table).add(identities(fans, "fan", "Fan"));
}

// The two values of a line.
void addLine(std::vector<Cell>& row, const Unit& supply, size_t at) {
    for (size_t i = at; i < at + 2; ++i)
        row.push_back(supply.own.empty() ? Cell() : cellOf(supply.own[i]));
}

constexpr Column kOutputColumns[] = {
    {"line1Mv", "1: mV", Align::kRight}, {"line1Ma", "1: mA", Align::kRight},
    {"line2Mv", "2: mV", Align::kRight}, {"line2Ma", "2: mA", Align::kRight},
    {"line3Mv", "3: mV", Align::kRight}, {"line3Ma", "3: mA", Align::kRight}};
static_assert(std::size(kOutputColumns) == 2 * kSupplyOutputLines);

Report showPower(Call& call) {
    const UnitMonitor& supplies = call.machine.environment().supplies();
    Table table{"power",
                "Power supplies",
                {{"supply", "Supply", Align::kRight},
                 {"state", "State"},
                 {"temperature", "Temp C", Align::kRight},
                 {"odometer", "Odometer", Align::kRight},
                 {"inputMv", "Input mV", Align::kRight},
                 {"inputMa", "Input mA", Align::kRight}},
                {},
                "",
                ""};
    Table outputs{"outputs", "Output lines", {{"supply", "Supply", Align::kRight}}, {}, "", ""};
    outputs.columns.insert(outputs.columns.end(), std::begin(kOutputColumns),
                           std::end(kOutputColumns));
    for (const auto& [number, supply] : supplies.units()) {
        std::vector<Cell> row = {number, stateOf(supply), degrees(supply.temperature),
                                 cellOf(supply.odometer)};
        addLine(row, supply, kSupplyInput);
        table.rows.push_back(std::move(row));
        std::vector<Cell> lines = {number};
        for (size_t line = 0; line < kSupplyOutputLines; ++line)
            addLine(lines, supply, kSupplyOutputs + 2 * line);
        outputs.rows.push_back(std::move(lines));
    }
    return Report(table).add(outputs).add(identities(supplies, "supply", "Supply"));
}

void addUnits(Table& table, const UnitMonitor& monitor, const char* prefix) {
    for (const auto& [number, unit] : monitor.units())
        table.rows.push_back({fmt::format("{}{}", prefix, number), stateOf(unit),
                              degrees(unit.temperature), cellOf(unit.odometer)});
}

void addCards(Table& table, Machine& machine) {
    for (const auto& [number, card] : machine.cards().cards()) {
        if (card.state == CardState::kEmpty) continue;
        int32_t temperature = 0, odometer = 0;
        auto& slot = machine.context.platform.slot(number);
        const bool warm = machine.context.platform.call(slot, &HalCardSlotOps::cardReadTemperature,
                                                        number, &temperature) == 0;
        const bool counted = machine.context.platform.call(slot, &HalCardSlotOps::cardGetOdometer,
                                                           number, &odometer) == 0;
        table.rows.push_back({fmt::format("slot {}", number), cardStateName(card.state),
                              warm ? degrees(static_cast<uint32_t>(temperature)) : Cell(),
                              counted ? Cell(odometer) : Cell()});
    }
}

Report showEnvironment(Call& call) {
    EnvironmentMonitor& environment = call.machine.environment();
    Table table{"environment",
                "Environment",
                {{"unit", "Unit"},
                 {"state", "State"},
                 {"temperature", "Temp C", Align::kRight},
                 {"odometer", "Odometer", Align::kRight}},
                {},
                "",
                ""};
    addUnits(table, environment.fans(), "fan ");
    addUnits(table, environment.supplies(), "supply ");
    addCards(table, call.machine);
    Table polls{"polls",
                "Polls",
                {{"kind", "Kind"},
                 {"presenceMs", "Presence ms", Align::kRight},
                 {"readingsMs", "Readings ms", Align::kRight}},
                {},
                "",
                ""};
    for (const UnitMonitor* monitor : {&environment.fans(), &environment.supplies()})
        polls.rows.push_back(
            {monitor->kind().name, monitor->presencePeriodMs(), monitor->readingPeriodMs()});
    return Report(table).add(polls);
}

void setSpeed(Call& call) {
    EnvironmentMonitor& environment = call.machine.environment();
    environment.setFanSpeed(environment.fans().presentUnit(call.u32("fan")), call.u32("percent"));
}

// The platform accepts a card's odometer with whatever comes with it.
void setCardOdometer(Machine& machine, int number, bool initialise, uint32_t value) {
    const Card& card = machine.cards().presentCard(number);
    auto& slot = machine.context.platform.slot(card.slot);
    const int32_t result = machine.context.platform.call(
        slot, initialise ? &HalCardSlotOps::cardInitOdometer : &HalCardSlotOps::cardSetOdometer);
    if (result != 0) fail("Slot {}: the platform answered {}", number, result);
    int32_t reads = 0;
    machine.context.platform.call(slot, &HalCardSlotOps::cardGetOdometer, card.slot, &reads);
    machine.context.events.note("env", "Slot {} odometer {}, reads {}", number,
                                initialise ? "initialised" : fmt::format("set to {}", value),
                                reads);
}

void setOdometer(Call& call) {
    const bool initialise = !call.has("value");
    const uint32_t value = initialise ? 0 : call.u32("value");
    const std::string& kind = call.text("kind");
    if (kind == "card") {
        const int slot = call.machine.cards().slotNumber(call.text("number"));
        setCardOdometer(call.machine, slot, initialise, value);
        return;
    }
    EnvironmentMonitor& environment = call.machine.environment();
    UnitMonitor& monitor = kind == "fan" ? environment.fans() : environment.supplies();
    Unit& unit = monitor.presentUnit(static_cast<uint32_t>(
        parseNumber(monitor.kind().noun, call.text("number"), 0, UnitMonitor::kUnits - 1)));
    if (initialise)
        monitor.initOdometer(unit);
    else
        monitor.setOdometer(unit, value);
}

}  // namespace

void addEnvironmentVerbs(HostVerbs& verbs) {
    verbs.show("show environment", "presence, temperature and odometer of everything",
               showEnvironment);
    verbs.show("show fans", "fans: speed, temperature, identity", showFans);
    verbs.show("show power", "power supplies: input and output lines, identity", showPower);
    verbs.action("fan <fan*:0-7> speed <percent:0-100>", "speed in percent of the maximum",
                 setSpeed);
    verbs.action("fan <fan:0-7> speed none", "ask for no speed any more", [](Call& call) {
        EnvironmentMonitor& environment = call.machine.environment();
        environment.forgetFanSpeed(environment.fans().presentUnit(call.u32("fan")));
    });
    verbs.action("odometer <kind:fan|power|card> <number:text> init",
                 "let an odometer start from 0", setOdometer);
    verbs.action("odometer <kind:fan|power|card> <number:text> <value:0-2147483647>",
                 "set an odometer (accepted by the platform, not kept)", setOdometer);
}

}  // namespace pcsim::host
