// Fans: presence, readings, part and hardware information, and the databases that hand these
// operations to the HAL.
#include "platform/env/pcSimFan.h"

#include "platform/base/trace.h"
#include "platform/env/environment.h"

PCSIM_EXPORT uint32_t pcSimFanPresentMask = 0x0000000F;

namespace pcsim {
namespace {

// What a stack and a chassis say differently about their fans.
struct FanShape {
    const char* firstName;   // of fan number 1
    const char* othersName;  // of every other
    PartConstants part;
    uint32_t rpmOfFan0;
};

// The blank in the stack's serial number is what the HAL expects.
constexpr FanShape kStack = {
    .firstName = "Fan",
    .othersName = "Fan",
    .part = {.serialNumber = "SN: 1234567", .partNumber = "PN:1N2039-1", .byte64 = 0, .byte65 = 1},
    .rpmOfFan0 = 10000};
constexpr FanShape kChassis = {
    .firstName = "Left",
    .othersName = "Right",
    .part = {.serialNumber = "SN:12345", .partNumber = "PN:1N2039", .byte64 = 0, .byte65 = 1},
    .rpmOfFan0 = 20000};

constexpr HalEnvRating kChassisRating = {.byte0 = 0,
                                         .byte1 = 2,
                                         .half2 = 4800,
                                         .half4 = 1200,
                                         .half6 = 0,
                                         .word8 = 10000,
                                         .word12 = 500,
                                         .word16 = 0};

uint32_t readRpm(const FanShape& shape, uint32_t fan, uint32_t* out) noexcept {
    *out = fan + shape.rpmOfFan0;
    return 0;
}

uint32_t getPartInfo(const FanShape& shape, uint32_t number, HalPartInfo* info) noexcept {
    putText(info->description, number == 1 ? shape.firstName : shape.othersName);
    putPart(info, shape.part, epochSeconds());
    return 0;
}

// The count comes with the call and says how large the record is, so it can't be checked against
// it. One that no mask of fans can have (a negative slot number, say) is no count: the record keeps
// it, and no entry is written.
void fillEntries(uint32_t count, HalFanHwInfo* info) noexcept {
    info->fanCount = count;
    if (count > HAL_FANS_MAX) return;
    for (uint32_t i = 0; i < count; ++i) info->fans[i].name[0] = '\0';
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

uint32_t pcSimIsFanPresent(int32_t fan) noexcept {
    return presence(kFanKind, pcSimFanPresentMask, fan);
}

uint32_t pcSimFanGetOdometer(uint32_t slot, uint32_t* out) noexcept {
    return readOdometer(kFanKind, slot, out);
}

uint32_t pcSimStackFanReadRpm(uint32_t, uint32_t fan, uint32_t* out) noexcept {
    return readRpm(kStack, fan, out);
}

uint32_t pcSimChassisFanReadRpm(uint32_t, uint32_t fan, uint32_t* out) noexcept {
    return readRpm(kChassis, fan, out);
}

uint32_t pcSimFanReadTemp(uint32_t slot, uint32_t* out) noexcept {
    return readTemperature(kFanKind, slot, out);
}

uint32_t pcSimFanSetSpeed(int32_t fan, int32_t slot, int32_t percent) noexcept {
    TRACE_FAN("Setting fan %d on slot %d to %d percent max output", fan, slot, percent);
    return 0;
}

uint32_t pcSimFanSetOdometer(int32_t slot, int32_t value) noexcept {
    TRACE_FAN("Setting fan odometer slot %d to %d", slot, value);
    return 0;
}

uint32_t pcSimFanInitOdometer(int32_t slot) noexcept {
    return pcSimFanSetOdometer(slot, 0);
}

uint32_t pcSimStackFanGetPartInfo(uint32_t number, HalPartInfo* info) noexcept {
    return getPartInfo(kStack, number, info);
}

uint32_t pcSimChassisFanGetPartInfo(uint32_t number, HalPartInfo* info) noexcept {
    return getPartInfo(kChassis, number, info);
}

uint32_t pcSimStackFanReadHwInfo(uint32_t number, HalFanHwInfo* info) noexcept {
    fillEntries(number, info);
    info->rating.byte0 = 0;
    info->rating.byte1 = 0;
    return pcSimStackFanGetPartInfo(number, &info->head.part);
}

uint32_t pcSimChassisFanReadHwInfo(uint32_t number, HalFanHwInfo* info) noexcept {
    fillEntries(number, info);
    putVersion(info->head.version, 1, 2);
    putText(info->head.build, "Propeller on 10/1/2004");
    info->rating = kChassisRating;
    if (number == 2) {
        // The entries run from right to left although fan number 1 is the left one: the HAL expects
        // both.
        putText(info->fans[0].name, "Right");
        putText(info->fans[1].name, "Left");
    }
    return pcSimChassisFanGetPartInfo(number, &info->head.part);
}

namespace pcsim {
namespace {

uint32_t fillFanDb(HalFanDb* record) noexcept {
    record->word1 = 10000;
    return fillDb(record, pcSimIsFanPresent);
}

constexpr HalFanSlotDb slotDb(uint32_t word0, HalFanReadHwInfoFn* readHwInfo,
                              HalFanReadRpmFn* readRpm) noexcept {
    return withCommonWords(HalFanSlotDb{.word0 = word0,
                                        .fanReadHwInfo = readHwInfo,
                                        .fanReadTemp = pcSimFanReadTemp,
                                        .fanInitOdometer = pcSimFanInitOdometer,
                                        .fanSetOdometer = pcSimFanSetOdometer,
                                        .fanGetOdometer = pcSimFanGetOdometer,
                                        .fanReadRpm = readRpm,
                                        .word11 = 0,
                                        .fanSetSpeed = pcSimFanSetSpeed,
                                        .word13 = 0});
}

constinit const HalFanSlotDb kStackSlotDb =
    slotDb(5000, pcSimStackFanReadHwInfo, pcSimStackFanReadRpm);
constinit const HalFanSlotDb kChassisSlotDb =
    slotDb(1000, pcSimChassisFanReadHwInfo, pcSimChassisFanReadRpm);

}  // namespace
}  // namespace pcsim

uint32_t pcSimStackFanDBSetup(HalFanDb* record) noexcept {
    return fillFanDb(record);
}

uint32_t pcSimChassisFanDBSetup(HalFanDb* record) noexcept {
    return fillFanDb(record);
}

uint32_t pcSimStackFanSlotDBSetup(uint32_t, HalFanSlotDb* record) noexcept {
    return fillSlotDb(record, kStackSlotDb);
}

uint32_t pcSimChassisFanSlotDBSetup(uint32_t, HalFanSlotDb* record) noexcept {
    return fillSlotDb(record, kChassisSlotDb);
}
