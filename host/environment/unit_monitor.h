// Watches one kind of replaceable unit, fans or power supplies: which of them are there, what they
// are, and what they read. Both kinds work alike; a UnitKind says where they differ.
//
// The platform's records give the periods: presence is polled at word 0 of the database record,
// readings at word 0 of the slot record.
#ifndef PCSIM_HOST_ENVIRONMENT_UNIT_MONITOR_H
#define PCSIM_HOST_ENVIRONMENT_UNIT_MONITOR_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/core/context.h"
#include "pcsim/env.h"

namespace pcsim::host {

// A value that the platform may refuse.
using Reading = std::optional<uint32_t>;

struct UnitIdentity {
    std::string name, serial, part, version, build;
};

struct Unit {
    uint32_t number = 0;
    bool present = false;
    uint64_t sinceMs = 0;  // it is, or isn't, there
    UnitIdentity identity;
    Reading temperature;  // hundredths of a degree
    Reading odometer;
    std::vector<Reading> own;  // the kind's own readings
    Reading commanded;         // what a command asked for, e.g. a fan's speed
    bool failing = false;      // the platform refused a reading
};

struct UnitKind {
    const char* name;        // "Fan"
    const char* noun;        // "fan"
    const char* plural;      // "Fans"
    uint32_t presentAnswer;  // of the presence operation
    size_t ownReadings;      // beside temperature and odometer
    OpTable<HalEnvDb>* db;

    // Calls into the platform: setups, readings and settings of one unit.
    std::function<uint32_t()> setUp;
    std::function<uint32_t(uint32_t unit)> setUpSlot;
    std::function<uint32_t()> readingPeriodMs;
    std::function<uint32_t(uint32_t unit, uint32_t& value)> readTemperature;
    std::function<uint32_t(uint32_t unit, uint32_t& value)> getOdometer;
    std::function<uint32_t(uint32_t unit, uint32_t value)> setOdometer;
    std::function<uint32_t(uint32_t unit)> initOdometer;
    std::function<uint32_t(uint32_t unit, std::vector<Reading>& own)> readOwn;
    std::function<uint32_t(uint32_t unit, UnitIdentity& identity)> identify;
};

class UnitMonitor {
public:
    // Units with these numbers are looked for.
    static constexpr uint32_t kUnits = 8;

    UnitMonitor(Context& context, UnitKind kind) : context_(context), kind_(std::move(kind)) {}

    void boot();

    // Units that are or were present, by number.
    const std::map<uint32_t, Unit>& units() const { return units_; }
    // A unit that is present, or a CommandError that says which ones are.
    Unit& presentUnit(uint32_t number);

    void read(Unit& unit);
    // Set the odometer, or make it start from 0; the platform may go on counting as before.
    void setOdometer(Unit& unit, uint32_t value);
    void initOdometer(Unit& unit);

    const UnitKind& kind() const { return kind_; }
    uint32_t presencePeriodMs() const { return presencePeriodMs_; }
    uint32_t readingPeriodMs() const { return readingPeriodMs_; }
    // "0, 1, 2", or "none".
    std::string presentList() const;

private:
    void pollPresence();
    void appeared(uint32_t number);
    bool isPresent(uint32_t number);
    void odometerAnswered(Unit& unit, const std::string& what, uint32_t result);

    Context& context_;
    UnitKind kind_;
    std::map<uint32_t, Unit> units_;
    uint32_t presencePeriodMs_ = 0;  // 0: not polled
    uint32_t readingPeriodMs_ = 0;
};

}  // namespace pcsim::host

#endif
