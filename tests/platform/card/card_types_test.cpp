// Cards that the slot rule never chooses. A host may replace the rule by a definition of its own,
// as this test does: what is set up and described then follows the type that it names.
#include <gtest/gtest.h>

#include <cstring>

#include "pcsim/card_slot.h"
#include "platform/card/pcSimCardDB.h"
#include "tests/support/host.h"
#include "tests/support/image.h"
#include "tests/support/libc.h"

namespace {

uint32_t cardType;
uint32_t stackCardType = 406;
int32_t partResult;

}  // namespace

extern "C" {

uint32_t pcSimChassisCardGetId(int32_t) noexcept {
    return cardType;
}
uint32_t pcSimStackCardGetId() noexcept {
    return stackCardType;
}
int32_t pcSimChassisCardGetPartInfo(int32_t, HalPartInfo* part) noexcept {
    std::memset(part, 0x11, sizeof *part);
    return partResult;
}
int32_t pcSimStackCardGetPartInfo(int32_t, HalPartInfo* part) noexcept {
    std::memset(part, 0x11, sizeof *part);
    return partResult;
}
int32_t pcSimChassisCardGetCPUSubSystemPartInfo(int32_t, HalPartInfo* part) noexcept {
    std::memset(part, 0x22, sizeof *part);
    return 33;
}
}

namespace {

using namespace pcsim::test;

struct Row {
    uint32_t cardType;
    int32_t slot;
    uint32_t word4, word8, ports, firstPort;
};

const Row kRows[] = {
    // 2 ports: two per earlier slot, whatever the slot.
    {404, 0, 2000, 10000, 2, 1},
    {404, 1, 2000, 10000, 2, 1},
    {404, 9, 2000, 10000, 2, 17},
    {404, 10, 2000, 10000, 2, 19},
    // 128 ports: two per earlier slot up to 8, then 128 each.
    {407, -5, 5000, 10000, 128, 1},
    {407, 0, 5000, 10000, 128, 1},
    {407, 1, 5000, 10000, 128, 1},
    {407, 2, 5000, 10000, 128, 3},
    {407, 8, 5000, 10000, 128, 15},
    {407, 9, 5000, 10000, 128, 17},
    {407, 10, 0, 0, 128, 145},  // beyond the hundredth interface
    // 256 ports: the same with 256.
    {403, 0, 5000, 10000, 256, 1},
    {403, 5, 5000, 10000, 256, 9},
    {403, 9, 5000, 10000, 256, 17},
    {403, 10, 0, 0, 256, 273},
    // Cards without ports, known and unknown.
    {405, 3, 0, 0, 0, 0},
    {0, 3, 0, 0, 0, 0},
    {406, 3, 0, 0, 0, 0},
    // No row to describe the ports in.
    {403, 11, 0, 0, 0, 0},
    {407, 0x7FFFFFFF, 0, 0, 0, 0},
    {404, 11, 0, 0, 0, 0},
};

TEST(CardTypes, DecideTheSlotRecord) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.cardType << " in slot " << row.slot);
        cardType = row.cardType;
        Filled<HalCardSlotDb> db;
        EXPECT_EQ(pcSimChassisCardSlotDBSetup(row.slot, db.get()), 0);
        EXPECT_EQ(db->word0, 0u);
        EXPECT_EQ(db->word4, row.word4);
        EXPECT_EQ(db->word8, row.word8);
        EXPECT_EQ(db->portCount, row.ports);
        ASSERT_EQ(db->portMap != nullptr, row.ports != 0);
        for (uint32_t i = 0; i < row.ports; ++i) ASSERT_EQ(db->portMap[i], row.firstPort + i);
        EXPECT_STREQ(db->interfacePattern, "eth%d");
        EXPECT_NE(db->ops.cardInit, nullptr);
    }
}

TEST(CardTypes, MapsOfDifferentSlotsAndTypesAreApart) {
    std::vector<const uint32_t*> maps;
    std::vector<Row> rows;
    for (const uint32_t type : {404u, 407u, 403u}) {
        for (int32_t slot = 0; slot <= 10; ++slot) {
            cardType = type;
            Filled<HalCardSlotDb> db;
            pcSimChassisCardSlotDBSetup(slot, db.get());
            maps.push_back(db->portMap);
            rows.push_back({type, slot, 0, 0, db->portCount, db->portMap[0]});
        }
    }
    // Slots below 0 have no row of their own, and move nobody else's.
    for (const uint32_t type : {404u, 407u, 403u}) {
        for (const int32_t slot : {-1, -11, INT32_MIN}) {
            cardType = type;
            Filled<HalCardSlotDb> db;
            pcSimChassisCardSlotDBSetup(slot, db.get());
        }
    }
    for (size_t i = 0; i < maps.size(); ++i)
        for (uint32_t port = 0; port < rows[i].ports; ++port)
            ASSERT_EQ(maps[i][port], rows[i].firstPort + port)
                << rows[i].cardType << " in slot " << rows[i].slot;
    // Row behind row, so that none lies outside of its type's table.
    for (size_t i = 1; i < maps.size(); ++i) {
        if (rows[i].cardType != rows[i - 1].cardType) continue;
        ASSERT_EQ(maps[i], maps[i - 1] + rows[i].ports)
            << rows[i].cardType << " in slot " << rows[i].slot;
    }
}

TEST(CardTypes, AnUnknownCardHasNoIdentity) {
    host().attachComponents();
    for (const uint32_t type : {0u, 406u, 402u}) {
        SCOPED_TRACE(type);
        host().incidents.clear();
        cardType = type;
        Filled<HalCardHwInfo> info;
        EXPECT_EQ(pcSimChassisCardGetHwInfo(7, info.get()), -1);
        Image image(2556);
        image.u32(8, type).u32(2540, static_cast<uint32_t>(-1000)).u32(2544, 5000);
        EXPECT_TRUE(info.is(image.u32(2548, 0).u32(2552, 4000)));
        ASSERT_EQ(host().incidents.size(), 1u);
        const Incident& incident = host().incidents[0];
        EXPECT_EQ(incident.text, "Unknown card type " + std::to_string(type) + " on Slot-7.");
        EXPECT_EQ(incident.file, "pcSimCardDB.c");
        EXPECT_EQ(incident.function, "pcSimChassisCardGetHwInfo");
        EXPECT_EQ(incident.id, 0x540001u);
    }
    host().incidents.clear();
    stackCardType = 404;
    Filled<HalCardHwInfo> info;
    EXPECT_EQ(pcSimStackCardGetHwInfo(1, info.get()), -1);
    EXPECT_EQ(host().incidentTexts(), std::vector<std::string>{"Unknown card type 404 on Slot-1."});
}

TEST(CardTypes, AnUnknownCardHasNoIdentityInSilenceEither) {
    host().attachComponents();
    host().card.set(0, 0);
    cardType = 406;
    stackCardType = 404;
    Filled<HalCardHwInfo> info;
    EXPECT_EQ(pcSimChassisCardGetHwInfo(7, info.get()), -1);
    EXPECT_EQ(pcSimStackCardGetHwInfo(1, info.get()), -1);
    EXPECT_TRUE(host().incidents.empty());
}

TEST(CardTypes, A128PortCardHasAnIdentity) {
    cardType = 407;
    Filled<HalCardHwInfo> info;
    EXPECT_EQ(pcSimChassisCardGetHwInfo(2, info.get()), 33);  // what the second part answers
    Image image(2556);
    image.u32(8, 407).text(12, "PCSimC128");
    std::vector<uint8_t> card(80, 0x11), cpu(80, 0x22);
    image.raw(32, card.data(), 80).raw(144, cpu.data(), 80);
    image.u8(2520, 0).u8(2521, 2).u16(2522, 4800).u16(2524, 1200).u16(2526, 0).u32(2528, 22000);
    image.u32(2532, 1000).u32(2536, 0).u32(2540, static_cast<uint32_t>(-1000)).u32(2544, 5000);
    EXPECT_TRUE(info.is(image.u32(2548, 0).u32(2552, 4000)));
}

TEST(CardTypes, AFailingPartEndsTheIdentity) {
    partResult = -9;
    cardType = 404;
    Filled<HalCardHwInfo> info;
    EXPECT_EQ(pcSimChassisCardGetHwInfo(2, info.get()), -9);
    EXPECT_EQ(static_cast<uint8_t>(info->cardPart.description[0]), 0x11);
    EXPECT_EQ(static_cast<uint8_t>(info->cpuSubSystemPart.description[0]), kFiller);
    EXPECT_EQ(pcSimStackCardGetHwInfo(2, info.get()), -9);
    EXPECT_EQ(static_cast<uint8_t>(info->cpuSubSystemPart.description[0]), kFiller);
}

}  // namespace
