// What fans and power supplies have in common: presence, readings that follow from a number, the
// database record and the words that both slot databases begin with. What differs is an EnvKind.
#ifndef PCSIM_ENV_ENVIRONMENT_H
#define PCSIM_ENV_ENVIRONMENT_H

#include "pcsim/env.h"
#include "platform/base/record.h"

namespace pcsim {

// The numbers of one kind of unit. That they differ is what the HAL expects: it knows by the answer
// to the presence question which kind it asked, and tells readings of fans and supplies apart.
struct EnvKind {
    uint32_t presentAnswer;
    uint32_t odometerPerSlot;
    uint32_t temperatureOfSlot0;
};

inline constexpr EnvKind kFanKind = {
    .presentAnswer = HAL_FAN_PRESENT, .odometerPerSlot = 10, .temperatureOfSlot0 = 2500};
inline constexpr EnvKind kPowerSupplyKind = {
    .presentAnswer = HAL_POWER_SUPPLY_PRESENT, .odometerPerSlot = 100, .temperatureOfSlot0 = 3000};

// The low five bits of 'number' choose the bit of the mask, so unit 32 is unit 0.
inline uint32_t presence(const EnvKind& kind, uint32_t mask, int32_t number) noexcept {
    const uint32_t bit = static_cast<uint32_t>(number) % 32;
    return ((mask >> bit) & 1) != 0 ? kind.presentAnswer : 0;
}

inline uint32_t readOdometer(const EnvKind& kind, uint32_t slot, uint32_t* out) noexcept {
    *out = slot * kind.odometerPerSlot;
    return 0;
}

inline uint32_t readTemperature(const EnvKind& kind, uint32_t slot, uint32_t* out) noexcept {
    *out = slot + kind.temperatureOfSlot0;
    return 0;
}

// The database record of either kind but for word 1, which the HAL expects us to set for fans and
// to leave alone for power supplies.
inline uint32_t fillDb(HalEnvDb* record, HalIsUnitPresentFn* isPresent) noexcept {
    record->word0 = 1000;
    record->word2 = 0;
    record->isPresent = isPresent;
    record->word4 = 0;
    return 0;
}

// Words 1 to 4 of both slot databases.
template <class SlotDb>
constexpr SlotDb withCommonWords(SlotDb table) noexcept {
    table.word1 = 500;
    table.word2 = 50000;
    table.word3 = 0;
    table.word4 = 0;
    return table;
}

template <class SlotDb>
uint32_t fillSlotDb(SlotDb* record, const SlotDb& table) noexcept {
    *record = table;
    return 0;
}

}  // namespace pcsim

#endif
