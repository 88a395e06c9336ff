// The system-operations table and the operations in it: chassis information and capability, module
// control, checkpoints.
#include <cstdlib>
#include <cstring>

#include "pcsim/host.h"
#include "pcsim/system.h"
#include "platform/base/ownSlot.h"
#include "platform/base/record.h"
#include "platform/base/stub.h"
#include "platform/base/trace.h"
#include "platform/card/cardTypes.h"
#include "platform/card/pcSimCard.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/device/pcSimDevice.h"
#include "platform/env/pcSimFan.h"
#include "platform/env/pcSimPowerSupply.h"
#include "platform/system/pcSimSystem.h"

namespace pcsim {
namespace {

extern const HalSystemOps kStackSystemOps;
extern const HalSystemOps kChassisSystemOps;

constexpr int32_t kUnsupportedRequest = -2;

// --- Chassis information -------------------------------------------------------------------------

// What the two shapes say about themselves, as constants.
struct ChassisIdentity {
    const char* modelName;
    const char* description;
    const char* partNumber;
    uint32_t word228, word232;
    uint32_t word348, word352, word356, word360, word364, word368;
    uint32_t word376, word380;
    uint32_t word388, word392;
};

// The descriptions are crossed: the HAL expects each shape to carry the other one's.
constexpr ChassisIdentity kStackIdentity = {
    .modelName = "VORN-VM",
    .description = "PC Chassis",
    .partNumber = "PN:1N2039",
    .word228 = 1,
    .word232 = 1,
    .word348 = 1,
    .word352 = 0,
    .word356 = 0,
    .word360 = 0,
    .word364 = 2,
    .word368 = 1,
    .word376 = 1,
    .word380 = 1,
    .word388 = 0,
    .word392 = 0,
};

constexpr ChassisIdentity kChassisIdentity = {
    .modelName = "KT-PC",
    .description = "PC Stackable",
    .partNumber = "PN:1N532",
    .word228 = 2,
    .word232 = 2,
    .word348 = 8,
    .word352 = 2,
    .word356 = 0,
    .word360 = 0,
    .word364 = 4,
    .word368 = 2,
    .word376 = 1,
    .word380 = 10,
    .word388 = 0,
    .word392 = 0,
};

// True when the system has an address. When it has none every entry becomes a placeholder whose
// last byte is the entry's number; when it has one only the first entry is written.
bool fillMacTable(HalChassisInfo* info) noexcept {
    if (getSystemMac(info->macAddresses[0], 0) == 0) return true;
    memset(info->macAddresses, 0, sizeof info->macAddresses);
    for (uint8_t i = 0; i < HAL_CHASSIS_MAC_COUNT; ++i) info->macAddresses[i][5] = i;
    return false;
}

void fillIdentity(HalChassisInfo* info, const ChassisIdentity& identity, int32_t ownSlot) noexcept {
    putText(info->modelName, identity.modelName);
    info->word228 = identity.word228;
    info->word232 = identity.word232;
    putText(info->description, identity.description);
    putText(info->serialNumber, "SN:1234");
    putText(info->partNumber, identity.partNumber);
    info->byte300 = 0;
    info->byte301 = 1;
    info->timeStamp = epochSeconds();
    info->word348 = identity.word348;
    info->word352 = identity.word352;
    info->word356 = identity.word356;
    info->word360 = identity.word360;
    info->word364 = identity.word364;
    info->word368 = identity.word368;
    info->ownSlot = ownSlot;
    info->word376 = identity.word376;
    info->word380 = identity.word380;
    info->word388 = identity.word388;
    info->word392 = identity.word392;
}

// --- Chassis capability --------------------------------------------------------------------------

constexpr HalCardTypeEntry entryOf(const CardType& type, uint32_t flags) noexcept {
    HalCardTypeEntry entry = {.name = {}, .cardType = type.number, .flags = flags};
    for (size_t i = 0; type.name[i] != '\0'; ++i) entry.name[i] = type.name[i];
    return entry;
}

constexpr HalCardTypeEntry kStackCardTypes[] = {
    entryOf(kCardStackable, 0),
};

constexpr HalCardTypeEntry kChassisCardTypes[] = {
    entryOf(kCardManagement, HAL_CARD_TYPE_MANAGEMENT),
    entryOf(kCardC2, HAL_CARD_TYPE_IO),
    entryOf(kCardC256, HAL_CARD_TYPE_IO),
    entryOf(kCardC128, HAL_CARD_TYPE_IO),
};

// A new record of 'entries', traced as 'operation' when there is no memory for it.
template <size_t count>
HalChassisCapability* newCapability(const char* operation,
                                    const HalCardTypeEntry (&entries)[count]) noexcept {
    constexpr size_t kSize = sizeof(HalChassisCapability) + sizeof entries;
    auto* record = static_cast<HalChassisCapability*>(calloc(1, kSize));
    if (record == nullptr) {
        TRACE_SYSTEM_ERROR_AS(operation, "Unable to malloc");
        return nullptr;
    }
    record->size = kSize;
    record->entryCount = count;
    memcpy(record->entries, entries, sizeof entries);
    return record;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimStackSystemDBSetup(HalSystemOps* table) noexcept {
    *table = kStackSystemOps;
    return 0;
}

int32_t pcSimChassisSystemDBSetup(HalSystemOps* table) noexcept {
    *table = kChassisSystemOps;
    return 0;
}

int32_t pcSimStackChassisGetInfo(HalChassisInfo* info) noexcept {
    fillMacTable(info);
    info->macSource = HAL_MAC_SOURCE_SYSTEM;  // a stackable says so whatever its addresses are
    fillIdentity(info, kStackIdentity, 1);
    return 0;
}

int32_t pcSimChassisChassisGetInfo(HalChassisInfo* info) noexcept {
    info->macSource = fillMacTable(info) ? HAL_MAC_SOURCE_SYSTEM : HAL_MAC_SOURCE_PLACEHOLDER;
    const int32_t ownSlot = pcSimGetMySlotNum();
    fillIdentity(info, kChassisIdentity, ownSlot != 0 ? ownSlot : kChassisOwnSlot);
    return 0;
}

HalChassisCapability* pcSimStackChassisGetCapability() noexcept {
    return newCapability(__func__, kStackCardTypes);
}

HalChassisCapability* pcSimChassisChassisGetCapability() noexcept {
    return newCapability(__func__, kChassisCardTypes);
}

int32_t pcSimModuleIoctl(uint32_t, int32_t request, void* argument) noexcept {
    switch (request) {
        case HAL_MODULE_SET_CARDS:
            pcSimCardPresentMask = *static_cast<const uint32_t*>(argument);
            return 0;
        case HAL_MODULE_SET_FANS:
            pcSimFanPresentMask = *static_cast<const uint32_t*>(argument);
            return 0;
        case HAL_MODULE_SET_POWER_SUPPLIES:
            pcSimPowerSupplyPresentMask = *static_cast<const uint32_t*>(argument);
            return 0;
        case HAL_MODULE_DEVICE_COMMAND:
            static_cast<void>(pcSimDeviceCLIHook(static_cast<const HalDeviceCli*>(argument)));
            return 0;
        default:
            TRACE_SYSTEM_ERROR("Request code (%d) not supported", request);
            return kUnsupportedRequest;
    }
}

int32_t pcSimCheckpointStart() noexcept {
    setCheckpointStats(0, 0, 100);
    return 0;
}

// Accepted and ignored.
PCSIM_DEFINE_STUB(pcSimSystemNop)
PCSIM_DEFINE_STUB(pcSimSystemShutdown)
PCSIM_DEFINE_STUB(pcSimCheckpointMsgHandler)
PCSIM_DEFINE_STUB(pcSimCheckpointStop)
}

// --- The table -----------------------------------------------------------------------------------

// Every word is named here, the empty ones too: a word left out doesn't compile.
#pragma GCC diagnostic error "-Wmissing-field-initializers"

namespace pcsim {
namespace {

// What differs between the shapes.
struct ShapeOps {
    HalChassisGetInfoFn* chassisGetInfo;
    HalChassisGetCapabilityFn* chassisGetCapability;
    HalCardDBSetupFn* cardDBSetup;
    HalCardSlotDBSetupFn* cardSlotDBSetup;
    HalFanDBSetupFn* fanDBSetup;
    HalFanSlotDBSetupFn* fanSlotDBSetup;
    HalPSDBSetupFn* psDBSetup;
    HalPSSlotDBSetupFn* psSlotDBSetup;
};

constexpr HalSystemOps systemOps(const ShapeOps& shape) noexcept {
    return {
        .reserved0 = nullptr,
        .chassisGetInfo = shape.chassisGetInfo,
        .chassisGetCapability = shape.chassisGetCapability,
        .moduleIoctl = pcSimModuleIoctl,
        .cardDBSetup = shape.cardDBSetup,
        .cardSlotDBSetup = shape.cardSlotDBSetup,
        .fanDBSetup = shape.fanDBSetup,
        .fanSlotDBSetup = shape.fanSlotDBSetup,
        .psDBSetup = shape.psDBSetup,
        .psSlotDBSetup = shape.psSlotDBSetup,
        .reserved10 = {},
        .systemNop = pcSimSystemNop,
        .systemShutdown = pcSimSystemShutdown,
        .reserved16 = {},
        .getDeviceCapability = pcSimGetDeviceCapability,
        .deviceCommand = pcSimDeviceCommand,
        .checkpointMsgHandler = pcSimCheckpointMsgHandler,
        .checkpointStart = pcSimCheckpointStart,
        .checkpointStop = pcSimCheckpointStop,
        .reserved24 = {},
    };
}

constexpr HalSystemOps kStackSystemOps = systemOps({
    .chassisGetInfo = pcSimStackChassisGetInfo,
    .chassisGetCapability = pcSimStackChassisGetCapability,
    .cardDBSetup = pcSimStackCardDBSetup,
    .cardSlotDBSetup = pcSimStackCardSlotDBSetup,
    .fanDBSetup = pcSimStackFanDBSetup,
    .fanSlotDBSetup = pcSimStackFanSlotDBSetup,
    .psDBSetup = pcSimStackPSDBSetup,
    .psSlotDBSetup = pcSimStackPSSlotDBSetup,
});

constexpr HalSystemOps kChassisSystemOps = systemOps({
    .chassisGetInfo = pcSimChassisChassisGetInfo,
    .chassisGetCapability = pcSimChassisChassisGetCapability,
    .cardDBSetup = pcSimChassisCardDBSetup,
    .cardSlotDBSetup = pcSimChassisCardSlotDBSetup,
    .fanDBSetup = pcSimChassisFanDBSetup,
    .fanSlotDBSetup = pcSimChassisFanSlotDBSetup,
    .psDBSetup = pcSimChassisPSDBSetup,
    .psSlotDBSetup = pcSimChassisPSSlotDBSetup,
});

}  // namespace
}  // namespace pcsim
