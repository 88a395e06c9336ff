// The family's operations, and the mirroring operations, which the simulation does not model.
#include "pcsim/family.h"
#include "platform/acl/pcSimIPv4Acl.h"
#include "platform/base/stub.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/l2/pcSimFdb.h"
#include "platform/l2/pcSimVlan.h"
#include "platform/l3/pcSimIPv4Fib.h"
#include "platform/l3/pcSimIPv6Fib.h"
#include "platform/l3/pcSimIpAdj.h"
#include "platform/mcast/pcSimIPv4McDb.h"
#include "platform/misc/pcSimSampling.h"
#include "platform/port/pcSimPort.h"
#include "platform/port/pcSimTrunk.h"

namespace pcsim {
namespace {

extern const HalFamilyOps kFamilyOps;

}  // namespace
}  // namespace pcsim

extern "C" {

int32_t pcSimFamilyDBSetup(uint32_t, HalFamilyOps* table) noexcept {
    void* const word0 = table->word0;  // the HAL's
    *table = pcsim::kFamilyOps;
    table->word0 = word0;
    return 0;
}

// Accepted and ignored.
PCSIM_DEFINE_STUB(pcSimMirEnable)
PCSIM_DEFINE_STUB(pcSimMirCfgPort)
PCSIM_DEFINE_STUB(pcSimMirVlanCfgPort)
PCSIM_DEFINE_STUB(pcSimMirTrunkCfgPort)
}

// --- The table -----------------------------------------------------------------------------------

// Every word is named here, the empty ones too, in the order of the words: one that is left out,
// doubled or of another type doesn't compile.
#pragma GCC diagnostic error "-Wmissing-field-initializers"

namespace pcsim {
namespace {

constexpr HalFamilyOps kFamilyOps = {
    .word0 = nullptr,

    .vlanChangeTag = pcSimVlanChangeTag,
    .vlanCfgIpAddr = pcSimVlanCfgIpAddr,
    .vrCreate = pcSimVrCreate,
    .vrDelete = pcSimVrDelete,
    .cfgVrAndVlan = pcSimCfgVrAndVlan,
    .vlanIfCreate = pcSimVlanIfCreate,
    .vlanIfDelete = pcSimVlanIfDelete,
    .vpifCreate = pcSimVpifCreate,
    .vpifDelete = pcSimVpifDelete,
    .vlanOptionEnable = pcSimVlanOptionEnable,

    .trunkCreate = pcSimTrunkCreate,
    .trunkDelete = pcSimTrunkDelete,
    .trunkAddPorts = pcSimTrunkAddPorts,
    .trunkDelPorts = pcSimTrunkDelPorts,
    .trunkLinkChange = pcSimTrunkLinkChange,
    .vlanAddTrunkPort = pcSimVlanAddTrunkPort,
    .vlanDelTrunkPort = pcSimVlanDelTrunkPort,
    .vlanChangeTagTrunkPort = pcSimVlanChangeTagTrunkPort,
    .trunkConfigLoadSharing = pcSimTrunkConfigLoadSharing,
    .trunkConfigAddrAlgo = pcSimTrunkConfigAddrAlgo,
    .trunkSetForwardingState = pcSimTrunkSetForwardingState,

    .addDelVlanToVr = pcSimAddDelVlanToVr,
    .addDelPortToVr = pcSimAddDelPortToVr,
    .reserved24 = nullptr,

    .fdbInit = pcSimPCFamFdbInit,
    .fdbCleanup = pcSimPCFamFdbCleanup,
    .fdbMacLookup = pcSimPCFamFdbMacLookup,
    .fdbAllocEntry = pcSimPCFamFdbAllocEntry,
    .fdbDeleteEntry = pcSimPCFamFdbDeleteEntry,
    .fdbAddEntry = pcSimPCFamFdbAddEntry,
    .fdbReadEntry = pcSimPCFamFdbReadEntry,
    .fdbFlush = pcSimPCFamFdbFlush,
    .fdbDump = pcSimPCFamFdbDump,

    .ipAdjAdd = pcSimIpAdjAdd,
    .ipAdjRemove = pcSimIpAdjRemove,
    .ipAdjDump = pcSimIpAdjDump,

    .fdbFilterAdd = pcSimPCFamFdbFilterAdd,
    .fdbFilterDel = pcSimPCFamFdbFilterDel,
    .fdbFilterAddIngress = pcSimPCFamFdbFilterAddIngress,
    .fdbFilterDelIngress = pcSimPCFamFdbFilterDelIngress,
    .fdbFilterAddEgress = pcSimPCFamFdbFilterAddEgress,
    .fdbFilterDelEgress = pcSimPCFamFdbFilterDelEgress,
    .fdbFilterDump = pcSimPCFamFdbFilterDump,

    .ipv4FibInit = pcSimPCFamIPv4FibInit,
    .ipv4FibCleanup = pcSimPCFamIPv4FibCleanup,
    .ipv4FibLookup = pcSimPCFamIPv4FibLookup,
    .ipv4FibAddEntry = pcSimPCFamIPv4FibAddEntry,
    .ipv4FibDeleteEntry = pcSimPCFamIPv4FibDeleteEntry,
    .ipv4FibReplaceEntry = pcSimPCFamIPv4FibReplaceEntry,
    .ipv4FibFlush = pcSimPCFamIPv4FibFlush,
    .ipv4FibDump = pcSimPCFamIPv4FibDump,
    .ipv4FibTransEnd = pcSimPCFamIPv4FibTransEnd,

    .ipv4McHwCacheAdd = pcSimHalIpv4McHwCacheAdd,
    .ipv4McHwCacheDel = pcSimHalIpv4McHwCacheDel,
    .ipv4McHwCacheOifPortAdd = pcSimHalIpv4McHwCacheOifPortAdd,
    .ipv4McHwCacheOifPortDel = pcSimHalIpv4McHwCacheOifPortDel,
    .ipv4McHwCacheFlush = pcSimHalIpv4McHwCacheFlush,
    .ipv4McHwCacheGetStats = pcSimHalIpv4McHwCacheGetStats,
    .dumpHalMcDb = dumpHalMcDb,
    .reserved60 = {},

    .ipv4AclAdd = pcSimIPv4AclAdd,
    .ipv4AclDel = pcSimIPv4AclDel,
    .ipv4AclRefreshDiff = pcSimIPv4AclRefreshDiff,
    .ipv4AclRefresh = pcSimIPv4AclRefresh,
    .ipv4AclConfig = pcSimIPv4AclConfig,
    .ipv4AclUnconfig = pcSimIPv4AclUnconfig,
    .ipv4AclGetCounter = pcSimIPv4AclGetCounter,
    .ipv4AclClearCounter = pcSimIPv4AclClearCounter,
    .reserved72 = {},
    .ipv4AclModify = pcSimIPv4AclModify,
    .reserved79 = {},

    .configDot1pQos = pcSimConfigDot1pQos,
    .configDiffservQos = pcSimConfigDiffservQos,
    .unconfigDiffservQos = pcSimUnconfigDiffservQos,
    .configDiffservReplace = pcSimConfigDiffservReplace,
    .vlanConfigVlanQos = pcSimVlanConfigVlanQos,
    .reserved90 = {},

    .configVManEthertype = pcSimConfigVManEthertype,

    .allocSampleBin = pcSimAllocSampleBin,
    .reserved94 = nullptr,
    .sflowAddPortsForSample = pcSimSFLOWAddPortsForSample,
    .sflowDelPortsForSample = pcSimSFLOWDelPortsForSample,
    .sflowGetCntSampleOnPort = pcSimSFLOWGetCntSampleOnPort,
    .mirEnable = pcSimMirEnable,

    .ipv6FibInit = pcSimPCFamIPv6FibInit,
    .ipv6FibCleanup = pcSimPCFamIPv6FibCleanup,
    .ipv6FibLookup = pcSimPCFamIPv6FibLookup,
    .ipv6FibAddEntry = pcSimPCFamIPv6FibAddEntry,
    .ipv6FibDeleteEntry = pcSimPCFamIPv6FibDeleteEntry,
    .ipv6FibReplaceEntry = pcSimPCFamIPv6FibReplaceEntry,
    .ipv6FibFlush = pcSimPCFamIPv6FibFlush,
    .ipv6FibDump = pcSimPCFamIPv6FibDump,
    .reserved107 = {},

    .ipv4DirBcast = pcSimPCFamIPv4DirBcast,
    .reserved170 = {},
    .syncLoadShareAddrAlgoSlot = pcSimSyncLoadShareAddrAlgoSlot,
    .reserved173 = {},
    .vlanCfgSubvlan = pcSimVlanCfgSubvlan,
    .reserved186 = {},
    .cardPifCreate = pcSimCardPifCreate,
    .cardPifDelete = pcSimCardPifDelete,
    .cardMacFdbCheckMacRefresh = pcSimCardMacFdbCheckMacRefresh,
    .reserved284 = {},
};

}  // namespace
}  // namespace pcsim
