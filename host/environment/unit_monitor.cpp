// Presence and readings of one kind of unit.
#include "host/environment/unit_monitor.h"

namespace pcsim::host {

void UnitMonitor::boot() {
    uint32_t result = kind_.setUp();
    for (uint32_t unit = 0; unit < kUnits && result == 0; ++unit) result = kind_.setUpSlot(unit);
    if (result != 0) {
        context_.events.note("env", "{} are not watched: the platform answered {}", kind_.plural,
                             static_cast<int32_t>(result));
        return;
    }
    presencePeriodMs_ = kind_.db->ops.word0;
    readingPeriodMs_ = kind_.readingPeriodMs();
    for (uint32_t number = 0; number < kUnits; ++number)
        if (isPresent(number)) appeared(number);
    context_.events.note("env", "{} present: {}", kind_.plural, presentList());
    context_.scheduler.every(presencePeriodMs_, fmt::format("{} presence poll", kind_.noun),
                             [this] { pollPresence(); });
    context_.scheduler.every(readingPeriodMs_, fmt::format("{} readings poll", kind_.noun), [this] {
        for (auto& [number, unit] : units_)
            if (unit.present) read(unit);
    });
}

bool UnitMonitor::isPresent(uint32_t number) {
    return context_.platform.call(*kind_.db, &HalEnvDb::isPresent, number) == kind_.presentAnswer;
}

std::string UnitMonitor::presentList() const {
    std::string list;
    for (const auto& [number, unit] : units_)
        if (unit.present) list += fmt::format("{}{}", list.empty() ? "" : ", ", number);
    return list.empty() ? "none" : list;
}

Unit& UnitMonitor::presentUnit(uint32_t number) {
    const auto found = units_.find(number);
    if (found == units_.end() || !found->second.present)
        fail("{} {} is not present; present are {}", kind_.noun, number, presentList());
    return found->second;
}

void UnitMonitor::pollPresence() {
    for (uint32_t number = 0; number < kUnits; ++number) {
        const bool present = isPresent(number);
        const auto known = units_.find(number);
        if (present == (known != units_.end() && known->second.present)) continue;
        context_.events.note("env", "{} {} {}", kind_.name, number,
                             present ? "inserted" : "removed");
        if (present) {
            appeared(number);
        } else {
            known->second = {};
            known->second.number = number;
            known->second.sinceMs = context_.scheduler.nowMs();
        }
    }
}

void UnitMonitor::appeared(uint32_t number) {
    Unit& unit = units_[number];
    unit = {};
    unit.number = number;
    unit.present = true;
    unit.sinceMs = context_.scheduler.nowMs();
    const uint32_t result = kind_.identify(number, unit.identity);
    if (result != 0)
        context_.events.note("env", "{} {}: no hardware information, the platform answered {}",
                             kind_.name, number, static_cast<int32_t>(result));
    read(unit);
}

void UnitMonitor::read(Unit& unit) {
    uint32_t temperature = 0, odometer = 0;
    const uint32_t temperatureResult = kind_.readTemperature(unit.number, temperature);
    const uint32_t odometerResult = kind_.getOdometer(unit.number, odometer);
    unit.temperature = temperatureResult == 0 ? Reading(temperature) : std::nullopt;
    unit.odometer = odometerResult == 0 ? Reading(odometer) : std::nullopt;
    unit.own.assign(kind_.ownReadings, std::nullopt);
    const uint32_t ownResult = kind_.readOwn(unit.number, unit.own);
    const bool failing = (temperatureResult | odometerResult | ownResult) != 0;
    if (failing != unit.failing)
        context_.events.note("env", "{} {} {}", kind_.name, unit.number,
                             failing ? "can't be read" : "can be read again");
    unit.failing = failing;
}

void UnitMonitor::odometerAnswered(Unit& unit, const std::string& what, uint32_t result) {
    if (result != 0)
        fail("{} {}: the platform answered {}", kind_.name, unit.number,
             static_cast<int32_t>(result));
    read(unit);
    context_.events.note("env", "{} {} odometer {}, reads {}", kind_.name, unit.number, what,
                         unit.odometer ? fmt::format("{}", *unit.odometer) : "nothing");
}

void UnitMonitor::setOdometer(Unit& unit, uint32_t value) {
    odometerAnswered(unit, fmt::format("set to {}", value), kind_.setOdometer(unit.number, value));
}

void UnitMonitor::initOdometer(Unit& unit) {
    odometerAnswered(unit, "initialised", kind_.initOdometer(unit.number));
}

}  // namespace pcsim::host
