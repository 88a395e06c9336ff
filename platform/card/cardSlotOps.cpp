// The operations of a slot record. Every word is named here, the empty ones too, in the order of
// the words: one that is left out, doubled or of another type doesn't compile.
#include "platform/card/cardSlotOps.h"

#include "platform/acl/pcSimIPv4Acl.h"
#include "platform/card/pcSimCard.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/l2/pcSimFdb.h"
#include "platform/l2/pcSimVlan.h"
#include "platform/l3/pcSimIPv4Fib.h"
#include "platform/misc/pcSimPoe.h"
#include "platform/port/pcSimPort.h"
#include "platform/port/pcSimTrunk.h"

#pragma GCC diagnostic error "-Wmissing-field-initializers"

namespace pcsim {
namespace {

// What differs between the shapes.
struct ShapeOps {
    HalCardGetHwInfoFn* cardGetHwInfo;
    HalCardPortGetStatsFn* cardPortGetStats;
    HalStubFn* portCfgEqosCosRemap;
    HalStubFn* portCfgHighPriCosVal;
    HalIsPortDisabledFn* isPortDisabled;
};

constexpr HalCardSlotOps cardSlotOps(const ShapeOps& shape) noexcept {
    return {
        .cardInit = pcSimCardInit,
        .cardCleanup = pcSimCardCleanup,
        .cardRunExtPost = pcSimCardRunExtPost,
        .cardStartDownload = pcSimCardStartDownload,
        .cardStartBooting = pcSimCardStartBooting,
        .cardPowerOnCheck = pcSimCardPowerOnCheck,
        .cardGetHwInfo = shape.cardGetHwInfo,
        .cardReadTemperature = pcSimCardReadTemperature,
        .cardInitOdometer = pcSimCardInitOdometer,
        .cardSetOdometer = pcSimCardSetOdometer,
        .cardGetOdometer = pcSimCardGetOdometer,
        .cardOptionEnable = pcSimCardOptionEnable,
        .macIntEnable = pcSimMacIntEnable,
        .macIntrGetMask = pcSimMacIntrGetMask,

        .cardFdbInit = pcSimCardFdbInit,
        .cardFdbCleanup = pcSimCardFdbCleanup,
        .cardFdbSyncHw = pcSimCardFdbSyncHw,
        .cardMacFdbWriteEntry = pcSimCardMacFdbWriteEntry,

        .cardVlanDeferUpdateStart = pcSimCardVlanDeferUpdateStart,
        .cardVlanDeferUpdateEnd = pcSimCardVlanDeferUpdateEnd,
        .cardVlanSyncSlot = pcSimCardVlanSyncSlot,
        .cardSyncVlanAddPort = pcSimCardSyncVlanAddPort,
        .cardVlanCreate = pcSimCardVlanCreate,
        .cardVlanDelete = pcSimCardVlanDelete,
        .cardVlanAddPort = pcSimCardVlanAddPort,
        .cardVlanDeletePort = pcSimCardVlanDeletePort,
        .cardVpifCfgProtocol = pcSimCardVpifCfgProtocol,
        .cardVpifChangeTag = pcSimCardVpifChangeTag,
        .cardVpifCfgMacSecurity = pcSimCardVpifCfgMacSecurity,

        .cardDeferUpdatePortStart = pcSimCardDeferUpdatePortStart,
        .cardDeferUpdatePortEnd = pcSimCardDeferUpdatePortEnd,
        .cardPortEnable = pcSimCardPortEnable,
        .cardPortEnableJumbo = pcSimCardPortEnableJumbo,
        .cardPortProbe = pcSimCardPortProbe,
        .cardPortConfigAutoNeg = pcSimCardPortConfigAutoNeg,
        .cardPortRestart = pcSimCardPortRestart,
        .cardPortShutDown = pcSimCardPortShutDown,
        .cardPortSetRouterAddress = pcSimCardPortSetRouterAddress,
        .cardPortEnableRcv = pcSimCardPortEnableRcv,
        .cardPortFdbLearn = pcSimCardPortFdbLearn,
        .reserved51 = {},
        .cardPortSetLinkLED = pcSimCardPortSetLinkLED,
        .cardPortEnableIntr = pcSimCardPortEnableIntr,
        .cardPortConfigVlanStat = pcSimCardPortConfigVlanStat,
        .reserved57 = nullptr,
        .cardPortConfigIPG = pcSimCardPortConfigIPG,
        .cardPortGetMediaType = pcSimCardPortGetMediaType,
        .cardPortGetIntStatus = pcSimCardPortGetIntStatus,
        .cardPortLinkInfo = pcSimCardPortLinkInfo,
        .cardPortEnableMFilter = pcSimCardPortEnableMFilter,
        .cardPortAckIntr = pcSimCardPortAckIntr,
        .cardPortLinkChange = pcSimCardPortLinkChange,
        .cardPortSyncSetMirroredState = pcSimCardPortSyncSetMirroredState,
        .cardPortSyncSetForwardingState = pcSimCardPortSyncSetForwardingState,
        .cardPortSetForwardingState = pcSimCardPortSetForwardingState,
        .cardPortGetForwardingState = pcSimCardPortGetForwardingState,

        .cardPortZeroStats = pcSimCardPortZeroStats,
        .cardPortGetStats = shape.cardPortGetStats,
        .cardPortZeroVlanStats = pcSimCardPortZeroVlanStats,
        .cardPortGetVlanStats = pcSimCardPortGetVlanStats,

        .cardInternalLinkEnable = pcSimCardInternalLinkEnable,
        .cardInternalLinkConfigLoadSharing = pcSimCardInternalLinkConfigLoadSharing,
        .cardDiagnosticsRun = pcSimCardDiagnosticsRun,
        .cardDiagnosticsGetResult = pcSimCardDiagnosticsGetResult,
        .cardLEDSet = pcSimCardLEDSet,

        .mirCfgPort = pcSimMirCfgPort,
        .mirVlanCfgPort = pcSimMirVlanCfgPort,
        .mirTrunkCfgPort = pcSimMirTrunkCfgPort,
        .reserved81 = nullptr,

        .portCfgQosProfile = pcSimPortCfgQosProfile,
        .portCfgIngressQosProfile = pcSimPortCfgIngressQosProfile,
        .configPortQos = pcSimConfigPortQos,
        .portEnableDot1pExamine = pcSimPortEnableDot1pExamine,
        .portEnableDiffservReplace = pcSimPortEnableDiffservReplace,
        .portEnableDiffservQos = pcSimPortEnableDiffservQos,
        .portEnableDot1pReplace = pcSimPortEnableDot1pReplace,
        .configVManPort = pcSimConfigVManPort,
        .reserved90 = {},

        .cardIPv4SyncBeginHw = pcSimCardIPv4SyncBeginHw,
        .cardIPv4SyncEndHw = pcSimCardIPv4SyncEndHw,
        .cardIPv4AclSyncBegin = pcSimCardIPv4AclSyncBegin,
        .cardIPv4AclSyncEnd = pcSimCardIPv4AclSyncEnd,

        .cardPoeSlotEnable = pcSimCardPoeSlotEnable,
        .cardPoeSlotDisable = pcSimCardPoeSlotDisable,
        .cardPoeSlotEnableLegacy = pcSimCardPoeSlotEnableLegacy,
        .cardPoeSlotDisableLegacy = pcSimCardPoeSlotDisableLegacy,
        .cardPoeSetUsageThreshold = pcSimCardPoeSetUsageThreshold,
        .cardPoeSetDisconnectMode = pcSimCardPoeSetDisconnectMode,
        .cardPoeSetPowerSlot = pcSimCardPoeSetPowerSlot,
        .cardPoeGetVersion = pcSimCardPoeGetVersion,
        .cardPoeSNMPGetSlotInfo = pcSimCardPoeSNMPGetSlotInfo,
        .cardPoeSNMPGetPortInfo = pcSimCardPoeSNMPGetPortInfo,
        .cardPoePortEnable = pcSimCardPoePortEnable,
        .cardPoePortDisable = pcSimCardPoePortDisable,
        .cardPoePortInfo = pcSimCardPoePortInfo,
        .cardPoeGetPortDetails = pcSimCardPoeGetPortDetails,
        .cardPoeGetPortState = pcSimCardPoeGetPortState,
        .cardPoeSetPortValue = pcSimCardPoeSetPortValue,

        .cardPortEnableNetlogin = pcSimCardPortEnableNetlogin,
        .trunkSyncSlot = pcSimTrunkSyncSlot,
        .syncVlanAddTrunk = pcSimSyncVlanAddTrunk,
        .cfgInterfacePortStateControl = pcSimCfgInterfacePortStateControl,
        .reserved116 = {},
        .cardPortConfigAutoPolarity = pcSimCardPortConfigAutoPolarity,
        .cardPortEnableMacBasedVlan = pcSimCardPortEnableMacBasedVlan,
        .reserved120 = {},
        .portCfgEqosCosRemap = shape.portCfgEqosCosRemap,
        .portCfgHighPriCosVal = shape.portCfgHighPriCosVal,
        .reserved125 = {},
        .cardVlanBeginSync = pcSimCardVlanBeginSync,
        .reserved146 = {},
        .isPortDisabled = shape.isPortDisabled,
        .reserved256 = {},
        .cardPortNetloginAuthOptional = pcSimCardPortNetloginAuthOptional,
    };
}

}  // namespace

constexpr HalCardSlotOps kStackCardSlotOps = cardSlotOps({
    .cardGetHwInfo = pcSimStackCardGetHwInfo,
    .cardPortGetStats = pcSimCardPortGetStats,
    .portCfgEqosCosRemap = pcSimPortCfgEqosCosRemap,
    .portCfgHighPriCosVal = pcSimPortCfgHighPriCosVal,
    .isPortDisabled = pcSimIsPortDisabled,
});

// A chassis clears its statistics as it reads them, and has neither the two remapping operations
// nor the query of disabled ports.
constexpr HalCardSlotOps kChassisCardSlotOps = cardSlotOps({
    .cardGetHwInfo = pcSimChassisCardGetHwInfo,
    .cardPortGetStats = pcSimCardPortGetStatsReadClear,
    .portCfgEqosCosRemap = nullptr,
    .portCfgHighPriCosVal = nullptr,
    .isPortDisabled = nullptr,
});

}  // namespace pcsim
