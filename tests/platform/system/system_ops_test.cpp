// The system-operations table, chassis information and capability, module control, checkpoints.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "pcsim/system.h"
#include "platform/card/pcSimCard.h"
#include "platform/env/pcSimFan.h"
#include "platform/env/pcSimPowerSupply.h"
#include "platform/system/pcSimSystem.h"
#include "tests/support/host.h"
#include "tests/support/image.h"
#include "tests/support/libc.h"
#include "tests/support/words.h"

namespace {

using namespace pcsim::test;
using Lines = std::vector<std::string>;

// --- The table -----------------------------------------------------------------------------------

const Words kStackWords = {
    {1, "pcSimStackChassisGetInfo"},  {2, "pcSimStackChassisGetCapability"},
    {3, "pcSimModuleIoctl"},          {4, "pcSimStackCardDBSetup"},
    {5, "pcSimStackCardSlotDBSetup"}, {6, "pcSimStackFanDBSetup"},
    {7, "pcSimStackFanSlotDBSetup"},  {8, "pcSimStackPSDBSetup"},
    {9, "pcSimStackPSSlotDBSetup"},   {14, "pcSimSystemNop"},
    {15, "pcSimSystemShutdown"},      {19, "pcSimGetDeviceCapability"},
    {20, "pcSimDeviceCommand"},       {21, "pcSimCheckpointMsgHandler"},
    {22, "pcSimCheckpointStart"},     {23, "pcSimCheckpointStop"},
};

const Words kChassisWords = {
    {1, "pcSimChassisChassisGetInfo"},
    {2, "pcSimChassisChassisGetCapability"},
    {3, "pcSimModuleIoctl"},
    {4, "pcSimChassisCardDBSetup"},
    {5, "pcSimChassisCardSlotDBSetup"},
    {6, "pcSimChassisFanDBSetup"},
    {7, "pcSimChassisFanSlotDBSetup"},
    {8, "pcSimChassisPSDBSetup"},
    {9, "pcSimChassisPSSlotDBSetup"},
    {14, "pcSimSystemNop"},
    {15, "pcSimSystemShutdown"},
    {19, "pcSimGetDeviceCapability"},
    {20, "pcSimDeviceCommand"},
    {21, "pcSimCheckpointMsgHandler"},
    {22, "pcSimCheckpointStart"},
    {23, "pcSimCheckpointStop"},
};

void expectTable(HalPlatformSystemInitFn* setup, const Words& words) {
    Filled<HalSystemOps> table;
    EXPECT_EQ(setup(table.get()), 0);
    expectWords(table.get(), 0, 28, words);
    EXPECT_TRUE(table.is(Image(sizeof(HalSystemOps))
                             .raw(0, table.get(), sizeof(HalSystemOps))));  // and nothing around it
    EXPECT_TRUE(host().calls.empty());
}

TEST(SystemTable, OfAStackable) {
    expectTable(pcSimStackSystemDBSetup, kStackWords);
}

TEST(SystemTable, OfAChassis) {
    expectTable(pcSimChassisSystemDBSetup, kChassisWords);
}

// --- Chassis information -------------------------------------------------------------------------

constexpr uint32_t kNow = 1'700'000'123;

Image stackInfo() {
    Image image(396);
    image.text(0, "VORN-VM").raw(32, host().systemMac, 6).u8(224, 1).u32(228, 1).u32(232, 1);
    image.text(236, "PC Chassis").text(268, "SN:1234").text(284, "PN:1N2039");
    image.u8(300, 0).u8(301, 1).u32(308, kNow).u32(348, 1).u32(352, 0).u32(356, 0).u32(360, 0);
    image.u32(364, 2).u32(368, 1).u32(372, 1).u32(376, 1).u32(380, 1).u32(388, 0).u32(392, 0);
    return image;
}

Image chassisInfo(int32_t ownSlot) {
    Image image(396);
    image.text(0, "KT-PC").raw(32, host().systemMac, 6).u8(224, 1).u32(228, 2).u32(232, 2);
    image.text(236, "PC Stackable").text(268, "SN:1234").text(284, "PN:1N532");
    image.u8(300, 0).u8(301, 1).u32(308, kNow).u32(348, 8).u32(352, 2).u32(356, 0).u32(360, 0);
    image.u32(364, 4).u32(368, 2).u32(372, static_cast<uint32_t>(ownSlot)).u32(376, 1);
    image.u32(380, 10).u32(388, 0).u32(392, 0);
    return image;
}

void placeholders(Image& image, uint8_t macSource) {
    image.zero(32, 192).u8(224, macSource);
    for (uint32_t i = 0; i < 32; ++i) image.u8(32 + 6 * i + 5, i);
}

TEST(ChassisInformation, OfAStackable) {
    libc().now = kNow;
    setenv("VORN_SLOT_ID", "6", 1);  // a stackable's own slot is 1 here whatever it is told
    Filled<HalChassisInfo> info;
    EXPECT_EQ(pcSimStackChassisGetInfo(info.get()), 0);
    EXPECT_TRUE(info.is(stackInfo()));
    EXPECT_EQ(host().calls, Lines{"getSystemMac(0)"});
}

TEST(ChassisInformation, OfAStackableWithoutAnAddress) {
    libc().now = kNow;
    for (const int32_t failure : {-1, 1}) {
        host().systemMacResult = failure;
        Filled<HalChassisInfo> info;
        EXPECT_EQ(pcSimStackChassisGetInfo(info.get()), 0);
        Image image = stackInfo();
        placeholders(image, 1);
        EXPECT_TRUE(info.is(image));
    }
}

TEST(ChassisInformation, OfAChassis) {
    libc().now = kNow;
    struct Row {
        const char* slotId;
        int32_t ownSlot;
    };
    for (const Row& row : {Row{"3", 3}, Row{"0", 9}, Row{"abc", 9}, Row{"-2", -2}, Row{"10", 10}}) {
        setenv("VORN_SLOT_ID", row.slotId, 1);
        Filled<HalChassisInfo> info;
        EXPECT_EQ(pcSimChassisChassisGetInfo(info.get()), 0);
        EXPECT_TRUE(info.is(chassisInfo(row.ownSlot))) << row.slotId;
    }
    EXPECT_EQ(host().calls, Lines(5, "getSystemMac(0)"));
}

TEST(ChassisInformation, OfAChassisWithoutAnAddress) {
    libc().now = kNow;
    setenv("VORN_SLOT_ID", "4", 1);
    host().systemMacResult = -1;
    Filled<HalChassisInfo> info;
    EXPECT_EQ(pcSimChassisChassisGetInfo(info.get()), 0);
    Image image = chassisInfo(4);
    placeholders(image, 2);
    EXPECT_TRUE(info.is(image));
}

// --- Chassis capability --------------------------------------------------------------------------

TEST(ChassisCapability, OfAStackable) {
    HalChassisCapability* record = pcSimStackChassisGetCapability();
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(
        bytesAre(record, Image(32, 0).u32(0, 32).u32(4, 1).text(8, "PCSimStack").u32(24, 406)));
    EXPECT_EQ(libc().blocksInUse, 1);
    std::free(record);
}

TEST(ChassisCapability, OfAChassis) {
    struct Row {
        const char* name;
        uint32_t cardType, flags;
    };
    const Row rows[] = {
        {"PCSimMGT", 405, 2}, {"PCSimC2", 404, 1}, {"PCSimC256", 403, 1}, {"PCSimC128", 407, 1}};
    Image image(104, 0);
    image.u32(0, 104).u32(4, 4);
    size_t offset = 8;
    for (const Row& row : rows) {
        image.text(offset, row.name).u32(offset + 16, row.cardType).u32(offset + 20, row.flags);
        offset += 24;
    }
    HalChassisCapability* record = pcSimChassisChassisGetCapability();
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(bytesAre(record, image));
    HalChassisCapability* another = pcSimChassisChassisGetCapability();
    EXPECT_NE(record, another);  // each one is the HAL's own
    std::free(record);
    std::free(another);
}

TEST(ChassisCapability, NoMemoryIsTracedAndYieldsNull) {
    host().attachComponents();
    libc().failAllFrom();
    EXPECT_EQ(pcSimStackChassisGetCapability(), nullptr);
    EXPECT_EQ(pcSimChassisChassisGetCapability(), nullptr);
    const char* functions[] = {"pcSimStackChassisGetCapability",
                               "pcSimChassisChassisGetCapability"};
    ASSERT_EQ(host().incidents.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        const Incident& incident = host().incidents[i];
        EXPECT_EQ(incident.text, "Unable to malloc");
        EXPECT_EQ(incident.file, "pcSimSystem.c");
        EXPECT_EQ(incident.function, functions[i]);
        EXPECT_EQ(incident.id, 0x520001u);
    }
    EXPECT_EQ(libc().blocksInUse, 0);
}

// --- Module control ------------------------------------------------------------------------------

TEST(ModuleControl, SetsOneMaskPerRequest) {
    EXPECT_EQ(pcSimCardPresentMask, 0xFFFF06FFu);
    EXPECT_EQ(pcSimFanPresentMask, 0xFu);
    EXPECT_EQ(pcSimPowerSupplyPresentMask, 0x1Eu);
    uint32_t value = 0x6;
    for (const uint32_t module : {0u, 5u, 0xFFFFFFFFu}) {
        EXPECT_EQ(pcSimModuleIoctl(module, 0, &value), 0);
        EXPECT_EQ(pcSimCardPresentMask, 0x6u);
        EXPECT_EQ(pcSimFanPresentMask, 0xFu);
        EXPECT_EQ(pcSimPowerSupplyPresentMask, 0x1Eu);
    }
    for (int32_t slot = 0; slot < 32; ++slot)
        EXPECT_EQ(pcSimIsCardHwPresent(slot), slot == 1 || slot == 2 ? 5 : 0);
    value = 0xFFFFFFFFu;
    EXPECT_EQ(pcSimModuleIoctl(0, 1, &value), 0);
    EXPECT_EQ(pcSimFanPresentMask, 0xFFFFFFFFu);
    EXPECT_EQ(pcSimPowerSupplyPresentMask, 0x1Eu);
    value = 0;
    EXPECT_EQ(pcSimModuleIoctl(0, 2, &value), 0);
    EXPECT_EQ(pcSimPowerSupplyPresentMask, 0u);
    EXPECT_EQ(pcSimCardPresentMask, 0x6u);
    EXPECT_EQ(pcSimFanPresentMask, 0xFFFFFFFFu);
    EXPECT_TRUE(host().calls.empty());
}

TEST(ModuleControl, RefusesAnyOtherRequest) {
    host().attachComponents();
    for (const int32_t request : {4, 5, -1, INT_MAX, INT_MIN}) {
        host().incidents.clear();
        EXPECT_EQ(pcSimModuleIoctl(1, request, nullptr), -2);
        ASSERT_EQ(host().incidents.size(), 1u);
        const Incident& incident = host().incidents[0];
        EXPECT_EQ(incident.text, "Request code (" + std::to_string(request) + ") not supported");
        EXPECT_EQ(incident.file, "pcSimSystem.c");
        EXPECT_EQ(incident.function, "pcSimModuleIoctl");
        EXPECT_EQ(incident.id, 0x520001u);
    }
    EXPECT_EQ(pcSimCardPresentMask, 0xFFFF06FFu);
    EXPECT_EQ(pcSimFanPresentMask, 0xFu);
    EXPECT_EQ(pcSimPowerSupplyPresentMask, 0x1Eu);
}

TEST(ModuleControl, ErrorsNeedLevelTwoAndTheirBit) {
    host().attachComponents();
    host().sys.set(1, 0xFF);
    EXPECT_EQ(pcSimModuleIoctl(0, 9, nullptr), -2);
    EXPECT_EQ(host().sys.counters[1], 0u);
    host().sys.set(2, 0xFD);
    EXPECT_EQ(pcSimModuleIoctl(0, 9, nullptr), -2);
    EXPECT_EQ(host().sys.counters[1], 1u);
    EXPECT_TRUE(host().incidents.empty());
    host().sys.set(2, 0x02);
    EXPECT_EQ(pcSimModuleIoctl(0, 9, nullptr), -2);
    EXPECT_EQ(host().incidents.size(), 1u);
}

// --- Checkpoints and operations that do nothing --------------------------------------------------

TEST(Checkpoints, AreCompleteAtOnce) {
    EXPECT_EQ(pcSimCheckpointStart(), 0);
    EXPECT_EQ(host().calls, Lines{"setCheckpointStats(0, 0, 100)"});
}

TEST(SystemOperations, ThatDoNothingAnswerZero) {
    for (auto* operation :
         {pcSimSystemNop, pcSimSystemShutdown, pcSimCheckpointStop, pcSimCheckpointMsgHandler})
        EXPECT_EQ(operation(), 0);
    EXPECT_TRUE(host().calls.empty());
}

}  // namespace
