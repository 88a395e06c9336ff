// The operation tables of a slot and of the family, word by word.
#include <gtest/gtest.h>

#include <cstring>

#include "pcsim/card_slot.h"
#include "pcsim/family.h"
#include "platform/card/pcSimCardDB.h"
#include "tests/support/host.h"
#include "tests/support/words.h"

namespace {

using namespace pcsim::test;

// clang-format off
// What a stackable's slot record holds from word 11 to word 266.
const Words kStackSlotWords = {
    {11, "pcSimCardInit"}, {12, "pcSimCardCleanup"}, {13, "pcSimCardRunExtPost"},
    {14, "pcSimCardStartDownload"}, {15, "pcSimCardStartBooting"}, {16, "pcSimCardPowerOnCheck"},
    {17, "pcSimStackCardGetHwInfo"}, {18, "pcSimCardReadTemperature"},
    {19, "pcSimCardInitOdometer"}, {20, "pcSimCardSetOdometer"}, {21, "pcSimCardGetOdometer"},
    {22, "pcSimCardOptionEnable"}, {23, "pcSimMacIntEnable"}, {24, "pcSimMacIntrGetMask"},
    {25, "pcSimCardFdbInit"}, {26, "pcSimCardFdbCleanup"}, {27, "pcSimCardFdbSyncHw"},
    {28, "pcSimCardMacFdbWriteEntry"}, {29, "pcSimCardVlanDeferUpdateStart"},
    {30, "pcSimCardVlanDeferUpdateEnd"}, {31, "pcSimCardVlanSyncSlot"},
    {32, "pcSimCardSyncVlanAddPort"}, {33, "pcSimCardVlanCreate"}, {34, "pcSimCardVlanDelete"},
    {35, "pcSimCardVlanAddPort"}, {36, "pcSimCardVlanDeletePort"}, {37, "pcSimCardVpifCfgProtocol"},
    {38, "pcSimCardVpifChangeTag"}, {39, "pcSimCardVpifCfgMacSecurity"},
    {40, "pcSimCardDeferUpdatePortStart"}, {41, "pcSimCardDeferUpdatePortEnd"},
    {42, "pcSimCardPortEnable"}, {43, "pcSimCardPortEnableJumbo"}, {44, "pcSimCardPortProbe"},
    {45, "pcSimCardPortConfigAutoNeg"}, {46, "pcSimCardPortRestart"}, {47, "pcSimCardPortShutDown"},
    {48, "pcSimCardPortSetRouterAddress"}, {49, "pcSimCardPortEnableRcv"},
    {50, "pcSimCardPortFdbLearn"}, {54, "pcSimCardPortSetLinkLED"}, {55, "pcSimCardPortEnableIntr"},
    {56, "pcSimCardPortConfigVlanStat"}, {58, "pcSimCardPortConfigIPG"},
    {59, "pcSimCardPortGetMediaType"}, {60, "pcSimCardPortGetIntStatus"},
    {61, "pcSimCardPortLinkInfo"}, {62, "pcSimCardPortEnableMFilter"}, {63, "pcSimCardPortAckIntr"},
    {64, "pcSimCardPortLinkChange"}, {65, "pcSimCardPortSyncSetMirroredState"},
    {66, "pcSimCardPortSyncSetForwardingState"}, {67, "pcSimCardPortSetForwardingState"},
    {68, "pcSimCardPortGetForwardingState"}, {69, "pcSimCardPortZeroStats"},
    {70, "pcSimCardPortGetStats"}, {71, "pcSimCardPortZeroVlanStats"},
    {72, "pcSimCardPortGetVlanStats"}, {73, "pcSimCardInternalLinkEnable"},
    {74, "pcSimCardInternalLinkConfigLoadSharing"}, {75, "pcSimCardDiagnosticsRun"},
    {76, "pcSimCardDiagnosticsGetResult"}, {77, "pcSimCardLEDSet"}, {78, "pcSimMirCfgPort"},
    {79, "pcSimMirVlanCfgPort"}, {80, "pcSimMirTrunkCfgPort"}, {82, "pcSimPortCfgQosProfile"},
    {83, "pcSimPortCfgIngressQosProfile"}, {84, "pcSimConfigPortQos"},
    {85, "pcSimPortEnableDot1pExamine"}, {86, "pcSimPortEnableDiffservReplace"},
    {87, "pcSimPortEnableDiffservQos"}, {88, "pcSimPortEnableDot1pReplace"},
    {89, "pcSimConfigVManPort"}, {92, "pcSimCardIPv4SyncBeginHw"}, {93, "pcSimCardIPv4SyncEndHw"},
    {94, "pcSimCardIPv4AclSyncBegin"}, {95, "pcSimCardIPv4AclSyncEnd"},
    {96, "pcSimCardPoeSlotEnable"}, {97, "pcSimCardPoeSlotDisable"},
    {98, "pcSimCardPoeSlotEnableLegacy"}, {99, "pcSimCardPoeSlotDisableLegacy"},
    {100, "pcSimCardPoeSetUsageThreshold"}, {101, "pcSimCardPoeSetDisconnectMode"},
    {102, "pcSimCardPoeSetPowerSlot"}, {103, "pcSimCardPoeGetVersion"},
    {104, "pcSimCardPoeSNMPGetSlotInfo"}, {105, "pcSimCardPoeSNMPGetPortInfo"},
    {106, "pcSimCardPoePortEnable"}, {107, "pcSimCardPoePortDisable"},
    {108, "pcSimCardPoePortInfo"}, {109, "pcSimCardPoeGetPortDetails"},
    {110, "pcSimCardPoeGetPortState"}, {111, "pcSimCardPoeSetPortValue"},
    {112, "pcSimCardPortEnableNetlogin"}, {113, "pcSimTrunkSyncSlot"},
    {114, "pcSimSyncVlanAddTrunk"}, {115, "pcSimCfgInterfacePortStateControl"},
    {118, "pcSimCardPortConfigAutoPolarity"}, {119, "pcSimCardPortEnableMacBasedVlan"},
    {123, "pcSimPortCfgEqosCosRemap"}, {124, "pcSimPortCfgHighPriCosVal"},
    {145, "pcSimCardVlanBeginSync"}, {255, "pcSimIsPortDisabled"},
    {266, "pcSimCardPortNetloginAuthOptional"},
};

const Words kFamilyWords = {
    {1, "pcSimVlanChangeTag"}, {2, "pcSimVlanCfgIpAddr"}, {3, "pcSimVrCreate"},
    {4, "pcSimVrDelete"}, {5, "pcSimCfgVrAndVlan"}, {6, "pcSimVlanIfCreate"},
    {7, "pcSimVlanIfDelete"}, {8, "pcSimVpifCreate"}, {9, "pcSimVpifDelete"},
    {10, "pcSimVlanOptionEnable"}, {11, "pcSimTrunkCreate"}, {12, "pcSimTrunkDelete"},
    {13, "pcSimTrunkAddPorts"}, {14, "pcSimTrunkDelPorts"}, {15, "pcSimTrunkLinkChange"},
    {16, "pcSimVlanAddTrunkPort"}, {17, "pcSimVlanDelTrunkPort"},
    {18, "pcSimVlanChangeTagTrunkPort"}, {19, "pcSimTrunkConfigLoadSharing"},
    {20, "pcSimTrunkConfigAddrAlgo"}, {21, "pcSimTrunkSetForwardingState"},
    {22, "pcSimAddDelVlanToVr"}, {23, "pcSimAddDelPortToVr"}, {25, "pcSimPCFamFdbInit"},
    {26, "pcSimPCFamFdbCleanup"}, {27, "pcSimPCFamFdbMacLookup"}, {28, "pcSimPCFamFdbAllocEntry"},
    {29, "pcSimPCFamFdbDeleteEntry"}, {30, "pcSimPCFamFdbAddEntry"}, {31, "pcSimPCFamFdbReadEntry"},
    {32, "pcSimPCFamFdbFlush"}, {33, "pcSimPCFamFdbDump"}, {34, "pcSimIpAdjAdd"},
    {35, "pcSimIpAdjRemove"}, {36, "pcSimIpAdjDump"}, {37, "pcSimPCFamFdbFilterAdd"},
    {38, "pcSimPCFamFdbFilterDel"}, {39, "pcSimPCFamFdbFilterAddIngress"},
    {40, "pcSimPCFamFdbFilterDelIngress"}, {41, "pcSimPCFamFdbFilterAddEgress"},
    {42, "pcSimPCFamFdbFilterDelEgress"}, {43, "pcSimPCFamFdbFilterDump"},
    {44, "pcSimPCFamIPv4FibInit"}, {45, "pcSimPCFamIPv4FibCleanup"},
    {46, "pcSimPCFamIPv4FibLookup"}, {47, "pcSimPCFamIPv4FibAddEntry"},
    {48, "pcSimPCFamIPv4FibDeleteEntry"}, {49, "pcSimPCFamIPv4FibReplaceEntry"},
    {50, "pcSimPCFamIPv4FibFlush"}, {51, "pcSimPCFamIPv4FibDump"},
    {52, "pcSimPCFamIPv4FibTransEnd"}, {53, "pcSimHalIpv4McHwCacheAdd"},
    {54, "pcSimHalIpv4McHwCacheDel"}, {55, "pcSimHalIpv4McHwCacheOifPortAdd"},
    {56, "pcSimHalIpv4McHwCacheOifPortDel"}, {57, "pcSimHalIpv4McHwCacheFlush"},
    {58, "pcSimHalIpv4McHwCacheGetStats"}, {59, "dumpHalMcDb"}, {64, "pcSimIPv4AclAdd"},
    {65, "pcSimIPv4AclDel"}, {66, "pcSimIPv4AclRefreshDiff"}, {67, "pcSimIPv4AclRefresh"},
    {68, "pcSimIPv4AclConfig"}, {69, "pcSimIPv4AclUnconfig"}, {70, "pcSimIPv4AclGetCounter"},
    {71, "pcSimIPv4AclClearCounter"}, {78, "pcSimIPv4AclModify"}, {85, "pcSimConfigDot1pQos"},
    {86, "pcSimConfigDiffservQos"}, {87, "pcSimUnconfigDiffservQos"},
    {88, "pcSimConfigDiffservReplace"}, {89, "pcSimVlanConfigVlanQos"},
    {92, "pcSimConfigVManEthertype"}, {93, "pcSimAllocSampleBin"},
    {95, "pcSimSFLOWAddPortsForSample"}, {96, "pcSimSFLOWDelPortsForSample"},
    {97, "pcSimSFLOWGetCntSampleOnPort"}, {98, "pcSimMirEnable"}, {99, "pcSimPCFamIPv6FibInit"},
    {100, "pcSimPCFamIPv6FibCleanup"}, {101, "pcSimPCFamIPv6FibLookup"},
    {102, "pcSimPCFamIPv6FibAddEntry"}, {103, "pcSimPCFamIPv6FibDeleteEntry"},
    {104, "pcSimPCFamIPv6FibReplaceEntry"}, {105, "pcSimPCFamIPv6FibFlush"},
    {106, "pcSimPCFamIPv6FibDump"}, {169, "pcSimPCFamIPv4DirBcast"},
    {172, "pcSimSyncLoadShareAddrAlgoSlot"}, {185, "pcSimVlanCfgSubvlan"},
    {281, "pcSimCardPifCreate"}, {282, "pcSimCardPifDelete"},
    {283, "pcSimCardMacFdbCheckMacRefresh"},
};
// clang-format on

template <typename Record>
struct Dirty {
    Dirty() { std::memset(&record, 0xA5, sizeof record); }
    Record record;
};

TEST(SlotOperations, OfAStackable) {
    for (const int32_t slot : {-1, 0, 1, 7, 10, 100}) {
        Dirty<HalCardSlotDb> db;
        EXPECT_EQ(pcSimStackCardSlotDBSetup(slot, &db.record), 0);
        expectWords(&db.record.ops, 11, 266, kStackSlotWords);
    }
}

TEST(SlotOperations, OfAChassis) {
    Words words = kStackSlotWords;
    words[17] = "pcSimChassisCardGetHwInfo";
    words[70] = "pcSimCardPortGetStatsReadClear";
    for (const uint32_t missing : {123u, 124u, 255u}) words.erase(missing);
    for (const int32_t slot : {-1, 0, 1, 8, 9, 10, 100}) {
        Dirty<HalCardSlotDb> db;
        EXPECT_EQ(pcSimChassisCardSlotDBSetup(slot, &db.record), 0);
        expectWords(&db.record.ops, 11, 266, words);
    }
}

TEST(FamilyOperations, AreTheSameForEveryFamilyAndLeaveWord0) {
    for (const uint32_t family : {0u, 1u, 0xFFFFFFFFu}) {
        Dirty<HalFamilyOps> table;
        EXPECT_EQ(pcSimFamilyDBSetup(family, &table.record), 0);
        uint32_t word0;
        std::memcpy(&word0, &table.record, sizeof word0);
        EXPECT_EQ(word0, 0xA5A5A5A5u);
        expectWords(&table.record.vlanChangeTag, 1, 331, kFamilyWords);
    }
}

TEST(FamilyOperations, NothingBehindTheTableIsTouched) {
    struct {
        HalFamilyOps table;
        uint32_t behind;
    } area;
    std::memset(&area, 0xA5, sizeof area);
    EXPECT_EQ(pcSimFamilyDBSetup(1, &area.table), 0);
    EXPECT_EQ(area.behind, 0xA5A5A5A5u);
    EXPECT_TRUE(host().calls.empty());
}

}  // namespace
