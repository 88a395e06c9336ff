// Power supplies: presence, readings, hardware information, and the databases that hand these
// operations to the HAL.
#include "platform/env/pcSimPowerSupply.h"

#include "platform/base/trace.h"
#include "platform/env/environment.h"

PCSIM_EXPORT uint32_t pcSimPowerSupplyPresentMask = 0x0000001E;

namespace pcsim {
namespace {

constexpr PartConstants kPart = {
    .serialNumber = "SN:12345", .partNumber = "PN:1N2039", .byte64 = 0, .byte65 = 0};

// Two values that the HAL reads together.
struct LineReading {
    uint32_t a;
    uint32_t b;
};

constexpr LineReading kStackInput = {12000, 5000};
constexpr LineReading kChassisInput = {24000, 5000};
constexpr LineReading kNoOutput = {0, 0};
// The lines of a chassis, from line 1.
constexpr LineReading kChassisOutputs[] = {{4891, 5000}, {1376, 200}};

uint32_t answer(const LineReading& reading, uint32_t* a, uint32_t* b) noexcept {
    *a = reading.a;
    *b = reading.b;
    return 0;
}

const LineReading& chassisOutput(int32_t line) noexcept {
    const uint32_t index = static_cast<uint32_t>(line) - 1;
    return index < sizeof kChassisOutputs / sizeof *kChassisOutputs ? kChassisOutputs[index]
                                                                    : kNoOutput;
}

// Everything that both shapes say alike.
void fillHwInfo(uint32_t slot, uint32_t input, HalPowerSupplyHwInfo* info) noexcept {
    HalPartInfo& part = info->head.part;
    snprintf(part.description, sizeof part.description, "Internal PSU-%d",
             static_cast<int32_t>(slot + 1));
    putPart(&part, kPart, epochSeconds());
    putVersion(info->head.version, 1, slot);
    putText(info->head.build, "Turbine on 10/1/2004");
    info->word220 = input;
    info->flags &= ~HAL_POWER_SUPPLY_FLAG3;
}

// The other lines repeat the first, with what the HAL left in it, at a lower 'rating'.
uint32_t copyFirstLine(uint32_t rating, HalPowerSupplyHwInfo* info) noexcept {
    for (int i = 1; i < HAL_POWER_SUPPLY_LINES; ++i) {
        info->lines[i] = info->lines[0];
        info->lines[i].word8 = rating;
    }
    return 0;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

uint32_t pcSimIsPowerSupplyPresent(int32_t supply) noexcept {
    return presence(kPowerSupplyKind, pcSimPowerSupplyPresentMask, supply);
}

uint32_t pcSimPSGetOdometer(uint32_t slot, uint32_t* out) noexcept {
    return readOdometer(kPowerSupplyKind, slot, out);
}

// The HAL expects nothing to be set here, and no trace, unlike for fans.
uint32_t pcSimPSInitOdometer(uint32_t) noexcept {
    return 0;
}

uint32_t pcSimPSSetOdometer(uint32_t slot, uint32_t value) noexcept {
    TRACE_POWER_SUPPLY("Setting power supply odometer slot %d to %d", static_cast<int32_t>(slot),
                       static_cast<int32_t>(value));
    return 0;
}

uint32_t pcSimPSReadTemp(uint32_t slot, uint32_t* out) noexcept {
    return readTemperature(kPowerSupplyKind, slot, out);
}

uint32_t pcSimStackPSReadInputLine(uint32_t, uint32_t* a, uint32_t* b) noexcept {
    return answer(kStackInput, a, b);
}

uint32_t pcSimChassisPSReadInputLine(uint32_t, uint32_t* a, uint32_t* b) noexcept {
    return answer(kChassisInput, a, b);
}

uint32_t pcSimStackPSReadOutputLine(uint32_t, int32_t, uint32_t* a, uint32_t* b) noexcept {
    return answer(kNoOutput, a, b);
}

uint32_t pcSimChassisPSReadOutputLine(uint32_t, int32_t line, uint32_t* a, uint32_t* b) noexcept {
    return answer(chassisOutput(line), a, b);
}

uint32_t pcSimStackPowerSupplyReadHwInfo(uint32_t slot, HalPowerSupplyHwInfo* info) noexcept {
    fillHwInfo(slot, 12000, info);
    info->word224 = 0;
    info->lines[0].byte0 = 0;
    info->lines[0].byte1 = 1;
    info->lines[0].half2 = 1200;
    info->lines[0].word8 = 20000;
    return copyFirstLine(19000, info);
}

uint32_t pcSimChassisPowerSupplyReadHwInfo(uint32_t slot, HalPowerSupplyHwInfo* info) noexcept {
    fillHwInfo(slot, 24000, info);
    info->lines[0] = {.byte0 = 0,
                      .byte1 = 2,
                      .half2 = 4800,
                      .half4 = 1200,
                      .half6 = 0,
                      .word8 = 80000,
                      .word12 = 10000,
                      .word16 = 0};
    return copyFirstLine(75000, info);
}

namespace pcsim {
namespace {

constexpr HalPSSlotDb slotDb(HalPowerSupplyReadHwInfoFn* readHwInfo,
                             HalPSReadInputLineFn* readInputLine,
                             HalPSReadOutputLineFn* readOutputLine) noexcept {
    return withCommonWords(HalPSSlotDb{.word0 = 2000,
                                       .powerSupplyReadHwInfo = readHwInfo,
                                       .pSReadTemp = pcSimPSReadTemp,
                                       .pSInitOdometer = pcSimPSInitOdometer,
                                       .pSSetOdometer = pcSimPSSetOdometer,
                                       .pSGetOdometer = pcSimPSGetOdometer,
                                       .pSReadInputLine = readInputLine,
                                       .pSReadOutputLine = readOutputLine,
                                       .words12 = {}});
}

constinit const HalPSSlotDb kStackSlotDb =
    slotDb(pcSimStackPowerSupplyReadHwInfo, pcSimStackPSReadInputLine, pcSimStackPSReadOutputLine);
constinit const HalPSSlotDb kChassisSlotDb = slotDb(
    pcSimChassisPowerSupplyReadHwInfo, pcSimChassisPSReadInputLine, pcSimChassisPSReadOutputLine);

}  // namespace
}  // namespace pcsim

uint32_t pcSimStackPSDBSetup(HalPowerSupplyDb* record) noexcept {
    return fillDb(record, pcSimIsPowerSupplyPresent);
}

uint32_t pcSimChassisPSDBSetup(HalPowerSupplyDb* record) noexcept {
    return fillDb(record, pcSimIsPowerSupplyPresent);
}

uint32_t pcSimStackPSSlotDBSetup(uint32_t, HalPSSlotDb* record) noexcept {
    return fillSlotDb(record, kStackSlotDb);
}

uint32_t pcSimChassisPSSlotDBSetup(uint32_t, HalPSSlotDb* record) noexcept {
    return fillSlotDb(record, kChassisSlotDb);
}
