// The card database, the slot records and the identity of each card.
#include "platform/card/pcSimCardDB.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "pcsim/card_slot.h"
#include "platform/card/pcSimCard.h"
#include "platform/port/hostInterfaces.h"
#include "tests/support/host.h"
#include "tests/support/image.h"
#include "tests/support/libc.h"
#include "tests/support/words.h"

namespace {

using namespace pcsim::test;
using Lines = std::vector<std::string>;

// --- Card database -------------------------------------------------------------------------------

const Words kCardDbWords = {
    {2, "pcSimCardGetCapability"},  {3, "pcSimFamilyDBSetup"}, {5, "pcSimIsCardHwPresent"},
    {6, "pcSimCardPowerEnable"},    {7, "pcSimCardOffline"},   {8, "pcSimCardLinkIntrMask"},
    {9, "pcSimCardLinkIntrEnable"},
};

void expectCardDb(HalCardDBSetupFn* setup, uint8_t byte5) {
    host().attachComponents();
    Filled<HalCardDb> db;
    EXPECT_EQ(setup(db.get()), 0);
    expectWords(&db->ops, 2, 15, kCardDbWords);
    EXPECT_EQ(host().incidentTexts(), Lines{"Software initialization for cards resources"});
    EXPECT_EQ(host().incidents[0].function, "pcSimInit");

    Image image(byWordSize(64, 120));
    image.u32(0, 1000).u8(4, 0).u8(5, byte5);
    image.raw(8, &db->ops, sizeof db->ops);  // the words seen above
    EXPECT_TRUE(db.is(image));
}

TEST(CardDatabase, OfAStackable) {
    expectCardDb(pcSimStackCardDBSetup, 0);
}

TEST(CardDatabase, OfAChassis) {
    expectCardDb(pcSimChassisCardDBSetup, 11);
}

TEST(CardDatabase, AChassisLearnsWhetherRemoteIoIsSimulated) {
    struct Row {
        const char* value;
        int32_t flag;
    };
    for (const Row& row : {Row{nullptr, 0}, Row{"", 0}, Row{"0", 0}, Row{"no", 0}, Row{"1", 1},
                           Row{"7 of them", 1}, Row{"-1", 1}}) {
        simulateRemoteIO = 0;
        if (row.value != nullptr) setenv("HAL_SIM_REMOTE_IO", row.value, 1);
        Filled<HalCardDb> db;
        EXPECT_EQ(pcSimStackCardDBSetup(db.get()), 0);
        EXPECT_EQ(simulateRemoteIO, 0);
        EXPECT_EQ(pcSimChassisCardDBSetup(db.get()), 0);
        EXPECT_EQ(simulateRemoteIO, row.flag);
    }
}

TEST(CardDatabase, RemoteIoIsNeverSwitchedOff) {
    Filled<HalCardDb> db;
    setenv("HAL_SIM_REMOTE_IO", "1", 1);
    pcSimChassisCardDBSetup(db.get());
    setenv("HAL_SIM_REMOTE_IO", "0", 1);
    pcSimChassisCardDBSetup(db.get());
    EXPECT_EQ(simulateRemoteIO, 1);
}

// --- Slots ---------------------------------------------------------------------------------------

TEST(CardType, OfAStackable) {
    EXPECT_EQ(pcSimStackCardGetId(), 406u);
}

TEST(CardType, OfEachChassisSlot) {
    for (const bool variableSet : {false, true}) {
        if (variableSet) setenv("VORN_TEST_UNKNOWN_CARD", "1", 1);
        for (int32_t slot = 1; slot <= 8; ++slot) EXPECT_EQ(pcSimChassisCardGetId(slot), 404u);
        for (const int32_t slot : {9, 10, 11, 300, INT_MAX})
            EXPECT_EQ(pcSimChassisCardGetId(slot), 405u);
        for (const int32_t slot : {0, -1, INT_MIN}) EXPECT_EQ(pcSimChassisCardGetId(slot), 403u);
    }
}

TEST(CardType, TheVariableIsLookedAtForSlotsWithoutACardOfTheirOwnAlone) {
    for (const int32_t slot : {0, -1, INT_MIN}) {
        libc().variablesRead.clear();
        pcSimChassisCardGetId(slot);
        EXPECT_EQ(libc().variablesRead, std::vector<std::string>{"VORN_TEST_UNKNOWN_CARD"}) << slot;
    }
    for (const int32_t slot : {1, 7, 8, 9, INT_MAX}) {
        libc().variablesRead.clear();
        pcSimChassisCardGetId(slot);
        EXPECT_TRUE(libc().variablesRead.empty()) << slot;
    }
}

// The header of a slot record as it should be, with the operations as they are.
Image slotImage(Filled<HalCardSlotDb>& db, uint32_t word4, uint32_t word8, uint32_t ports) {
    Image image(byWordSize(1068, 2096));
    image.u32(0, 0).u32(4, word4).u32(8, word8).text(12, "eth%d").u32(28, ports);
    image.pointer(32, db->portMap);
    image.raw(byWordSize(44, 48), &db->ops, sizeof db->ops);
    return image;
}

void expectPorts(const uint32_t* map, uint32_t first, uint32_t count) {
    ASSERT_NE(map, nullptr);
    for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(map[i], first + i) << i;
}

TEST(StackSlot, HasTheInterfacesThatWereCountedUpToTwelve) {
    for (const uint32_t interfaces : {0u, 3u, 12u, 13u, 20u, 100u}) {
        pcSimSystemNumPorts = interfaces;
        for (const int32_t slot : {-1, 0, 1, 8, 100}) {
            Filled<HalCardSlotDb> db;
            EXPECT_EQ(pcSimStackCardSlotDBSetup(slot, db.get()), 0);
            EXPECT_TRUE(db.is(slotImage(db, 2000, 0, interfaces < 12 ? interfaces : 12)));
            expectPorts(db->portMap, 1, 12);
        }
    }
}

TEST(ChassisSlot, IoCardsHaveTwoPortsEach) {
    const uint32_t* maps[9] = {};
    for (int32_t slot = 1; slot <= 8; ++slot) {
        Filled<HalCardSlotDb> db;
        EXPECT_EQ(pcSimChassisCardSlotDBSetup(slot, db.get()), 0);
        EXPECT_TRUE(db.is(slotImage(db, 2000, 10000, 2))) << slot;
        maps[slot] = db->portMap;
    }
    // All maps live side by side.
    for (uint32_t slot = 1; slot <= 8; ++slot) expectPorts(maps[slot], 2 * slot - 1, 2);
    EXPECT_EQ(maps[3][0], 5u);
    EXPECT_EQ(maps[8][1], 16u);
}

TEST(ChassisSlot, ManagementModulesHaveNoPorts) {
    for (const int32_t slot : {9, 10, 11, 255, INT_MAX}) {
        Filled<HalCardSlotDb> db;
        EXPECT_EQ(pcSimChassisCardSlotDBSetup(slot, db.get()), 0);
        EXPECT_TRUE(db.is(slotImage(db, 0, 0, 0)));
        EXPECT_EQ(db->portMap, nullptr);
    }
}

TEST(ChassisSlot, SlotsBelowOneHave256PortsAndMoveNoOtherMap) {
    Filled<HalCardSlotDb> one;
    pcSimChassisCardSlotDBSetup(1, one.get());
    for (const int32_t slot : {0, -1, -1000, INT_MIN}) {
        Filled<HalCardSlotDb> db;
        EXPECT_EQ(pcSimChassisCardSlotDBSetup(slot, db.get()), 0);
        EXPECT_TRUE(db.is(slotImage(db, 5000, 10000, 256)));
        expectPorts(db->portMap, 1, 256);
        expectPorts(one->portMap, 1, 2);
    }
}

TEST(ChassisSlot, SettingASlotUpAgainRewritesItsMapInPlace) {
    Filled<HalCardSlotDb> first, second;
    pcSimChassisCardSlotDBSetup(4, first.get());
    const_cast<uint32_t*>(first->portMap)[0] = 99;
    pcSimChassisCardSlotDBSetup(4, second.get());
    EXPECT_EQ(first->portMap, second->portMap);
    expectPorts(second->portMap, 7, 2);
}

// --- Part information ----------------------------------------------------------------------------

constexpr time_t kNow = 1'700'000'123;

Image& part(Image& image, uint32_t offset, const std::string& description) {
    image.text(offset, description.substr(0, 31)).text(offset + 32, "SN:123456");
    image.text(offset + 48, "PN:1N2039").u8(offset + 64, 0).u8(offset + 65, 1);
    return image.u32(offset + 72, kNow).u32(offset + 76, 0);
}

TEST(PartInformation, OfEachPart) {
    libc().now = kNow;
    struct Row {
        HalCardGetPartInfoFn* get;
        int32_t slot;
        const char* description;
    };
    const Row rows[] = {
        {pcSimStackCardGetPartInfo, 1, "PC Stackable"},
        {pcSimStackCardGetPartInfo, INT_MIN, "PC Stackable"},
        {pcSimStackCardGetCPUSubSystemPartInfo, 1, "Slot # 1: CPU SubSystem"},
        {pcSimChassisCardGetPartInfo, 4, "Slot # 4: PC chassis"},
        {pcSimChassisCardGetPartInfo, INT_MIN, "Slot # -2147483648: PC chassis"},
        {pcSimChassisCardGetCPUSubSystemPartInfo, 4, "Slot # 4: CPU SubSystem"},
        {pcSimChassisCardGetCPUSubSystemPartInfo, INT_MIN, "Slot # -2147483648: CPU SubSystem"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.description);
        Filled<HalPartInfo> info;
        EXPECT_EQ(row.get(row.slot, info.get()), 0);
        Image image(80);
        EXPECT_TRUE(info.is(part(image, 0, row.description)));
    }
}

// --- Hardware information ------------------------------------------------------------------------

Image& typeAndTail(Image& image, uint32_t cardType) {
    image.u32(8, cardType);
    return image.u32(2540, static_cast<uint32_t>(-1000))
        .u32(2544, 5000)
        .u32(2548, 0)
        .u32(2552, 4000);
}

Image& versions(Image& image) {
    image.padded(256, "1.1", 40).padded(296, "BS built on Sep 30 2003 by BootStrap", 64);
    image.padded(360, "1.2", 40).padded(400, "BR built on Sep 30 2003 by BootRom ", 64);
    return image.padded(464, "1.2.3.4", 40).padded(504, "VORN Sep 30 2003 built by zephyr", 64);
}

TEST(HardwareInformation, OfAStackable) {
    libc().now = kNow;
    for (const int32_t slot : {1, 5}) {
        Image image(2556);
        typeAndTail(image, 406).text(12, "PCSimStack");
        part(image, 32, "PC Stackable");
        part(image, 144, "Slot # " + std::to_string(slot) + ": CPU SubSystem");
        versions(image).u8(2520, 0).u8(2521, 1).u16(2522, 1200).u32(2528, 10000);
        Filled<HalCardHwInfo> info;
        EXPECT_EQ(pcSimStackCardGetHwInfo(slot, info.get()), 0);
        EXPECT_TRUE(info.is(image));
    }
}

TEST(HardwareInformation, OfEachChassisSlot) {
    libc().now = kNow;
    struct Row {
        int32_t slot;
        uint32_t cardType;
        const char* name;
        uint32_t word2528;
    };
    const Row rows[] = {
        {0, 403, "PCSimC256", 25600}, {-3, 403, "PCSimC256", 25600}, {1, 404, "PCSimC2", 20000},
        {8, 404, "PCSimC2", 20000},   {9, 405, "PCSimMGT", 44400},   {10, 405, "PCSimMGT", 44400},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.slot);
        Image image(2556);
        typeAndTail(image, row.cardType).text(12, row.name);
        part(image, 32, "Slot # " + std::to_string(row.slot) + ": PC chassis");
        part(image, 144, "Slot # " + std::to_string(row.slot) + ": CPU SubSystem");
        if (row.cardType == 405) versions(image);
        image.u8(2520, 0).u8(2521, 2).u16(2522, 4800).u16(2524, 1200).u16(2526, 0);
        image.u32(2528, row.word2528).u32(2532, 1000).u32(2536, 0);
        Filled<HalCardHwInfo> info;
        EXPECT_EQ(pcSimChassisCardGetHwInfo(row.slot, info.get()), 0);
        EXPECT_TRUE(info.is(image));
    }
    EXPECT_TRUE(host().incidents.empty());
}

}  // namespace
