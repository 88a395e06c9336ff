// What fans and power supplies have of their own.
#include "host/environment/environment_monitor.h"

#include <vector>

#include "console/text.h"
#include "host/core/lines.h"

namespace pcsim::host {

namespace {

UnitIdentity identityOf(const HalEnvHwHead& head) {
    return {textOf(head.part.description), textOf(head.part.serialNumber),
            textOf(head.part.partNumber), textOf(head.version), textOf(head.build)};
}

// What both kinds do by operations of the same meaning in tables of their own.
template <auto setUp, auto setUpSlot, auto readTemperature, auto initOdometer, auto setOdometer,
          auto getOdometer, typename SlotDb>
UnitKind kindOf(Platform& platform, OpTable<HalEnvDb>& db, OpTable<SlotDb>& slot) {
    UnitKind kind{};
    kind.db = &db;
    kind.setUp = [&] {
        const uint32_t result = platform.call(platform.system, setUp, &db.ops);
        db.valid = result == 0;
        return result;
    };
    kind.setUpSlot = [&](uint32_t unit) {
        const uint32_t result = platform.call(platform.system, setUpSlot, unit, &slot.ops);
        slot.valid = result == 0;
        return result;
    };
    kind.readingPeriodMs = [&slot] { return slot.ops.word0; };
    kind.readTemperature = [&](uint32_t unit, uint32_t& value) {
        return platform.call(slot, readTemperature, unit, &value);
    };
    kind.getOdometer = [&](uint32_t unit, uint32_t& value) {
        return platform.call(slot, getOdometer, unit, &value);
    };
    kind.setOdometer = [&](uint32_t unit, uint32_t value) {
        return platform.call(slot, setOdometer, unit, value);
    };
    kind.initOdometer = [&](uint32_t unit) { return platform.call(slot, initOdometer, unit); };
    return kind;
}

UnitKind fanKind(Platform& platform) {
    auto& slot = platform.fanSlot;
    UnitKind kind =
        kindOf<&HalSystemOps::fanDBSetup, &HalSystemOps::fanSlotDBSetup, &HalFanSlotDb::fanReadTemp,
               &HalFanSlotDb::fanInitOdometer, &HalFanSlotDb::fanSetOdometer,
               &HalFanSlotDb::fanGetOdometer>(platform, platform.fanDb, slot);
    kind.name = "Fan";
    kind.noun = "fan";
    kind.plural = "Fans";
    kind.presentAnswer = HAL_FAN_PRESENT;
    kind.ownReadings = 1;
    // Every fan is a fan slot of its own.
    kind.readOwn = [&](uint32_t unit, std::vector<Reading>& own) {
        uint32_t rpm = 0;
        const uint32_t result = platform.call(slot, &HalFanSlotDb::fanReadRpm, unit, unit, &rpm);
        if (result == 0) own[kFanSpeed] = rpm;
        return result;
    };
    kind.identify = [&](uint32_t unit, UnitIdentity& identity) {
        // The record ends with as many entries as the number that is asked for.
        std::vector<uint32_t> room((sizeof(HalFanHwInfo) + HAL_FANS_MAX * sizeof(HalFanEntry)) /
                                   sizeof(uint32_t));
        auto* info = reinterpret_cast<HalFanHwInfo*>(room.data());
        const uint32_t result = platform.call(slot, &HalFanSlotDb::fanReadHwInfo, unit, info);
        if (result == 0) identity = identityOf(info->head);
        return result;
    };
    return kind;
}

UnitKind supplyKind(Platform& platform) {
    auto& slot = platform.powerSupplySlot;
    UnitKind kind =
        kindOf<&HalSystemOps::psDBSetup, &HalSystemOps::psSlotDBSetup, &HalPSSlotDb::pSReadTemp,
               &HalPSSlotDb::pSInitOdometer, &HalPSSlotDb::pSSetOdometer,
               &HalPSSlotDb::pSGetOdometer>(platform, platform.powerSupplyDb, slot);
    kind.name = "Power supply";
    kind.noun = "power supply";
    kind.plural = "Power supplies";
    kind.presentAnswer = HAL_POWER_SUPPLY_PRESENT;
    kind.ownReadings = kSupplyOutputs + 2 * size_t{kSupplyOutputLines};
    kind.readOwn = [&](uint32_t unit, std::vector<Reading>& own) {
        const auto store = [&own](uint32_t result, size_t at, uint32_t a, uint32_t b) {
            if (result != 0) return;
            own[at] = a;
            own[at + 1] = b;
        };
        uint32_t a = 0, b = 0;
        uint32_t all = platform.call(slot, &HalPSSlotDb::pSReadInputLine, unit, &a, &b);
        store(all, kSupplyInput, a, b);
        for (uint32_t line = 1; line <= kSupplyOutputLines; ++line) {
            const uint32_t result =
                platform.call(slot, &HalPSSlotDb::pSReadOutputLine, unit, line, &a, &b);
            store(result, kSupplyOutputs + 2 * size_t{line - 1}, a, b);
            all |= result;
        }
        return all;
    };
    kind.identify = [&](uint32_t unit, UnitIdentity& identity) {
        HalPowerSupplyHwInfo info{};
        const uint32_t result =
            platform.call(slot, &HalPSSlotDb::powerSupplyReadHwInfo, unit, &info);
        if (result == 0) identity = identityOf(info.head);
        return result;
    };
    return kind;
}

}  // namespace

EnvironmentMonitor::EnvironmentMonitor(Context& context)
    : context_(context),
      fans_(context, fanKind(context.platform)),
      supplies_(context, supplyKind(context.platform)) {}

void EnvironmentMonitor::boot() {
    fanMaskAtBoot_ = context_.platform.fanPresentMask();
    supplyMaskAtBoot_ = context_.platform.powerSupplyPresentMask();
    fans_.boot();
    supplies_.boot();
}

// The masks are the platform's own: the polls see them later.
void EnvironmentMonitor::running(Lines& lines) {
    const auto tell = [&](const char* what, uint32_t mask, uint32_t atBoot) {
        if (mask != atBoot)
            lines.replace(fmt::format("module {} {:#x}", what, mask),
                          fmt::format("module {} {:#x}", what, atBoot));
    };
    tell("fans", context_.platform.fanPresentMask(), fanMaskAtBoot_);
    tell("power", context_.platform.powerSupplyPresentMask(), supplyMaskAtBoot_);
    for (const auto& [number, fan] : fans_.units())
        if (fan.commanded)
            lines.replace(fmt::format("fan {} speed {}", number, *fan.commanded),
                          fmt::format("fan {} speed none", number));
}

void EnvironmentMonitor::setFanSpeed(Unit& fan, uint32_t percent) {
    const uint32_t result = context_.platform.call(
        context_.platform.fanSlot, &HalFanSlotDb::fanSetSpeed, fan.number, fan.number, percent);
    if (result != 0)
        fail("Fan {}: the platform answered {}", fan.number, static_cast<int32_t>(result));
    fan.commanded = percent;
    fans_.read(fan);
    context_.events.note("env", "Fan {} speed set to {} %, reads {} rpm", fan.number, percent,
                         fan.own[kFanSpeed] ? fmt::format("{}", *fan.own[kFanSpeed]) : "no");
}

void EnvironmentMonitor::forgetFanSpeed(Unit& fan) {
    fan.commanded.reset();
    context_.events.note("env", "Fan {} speed not set any more", fan.number);
}

}  // namespace pcsim::host
