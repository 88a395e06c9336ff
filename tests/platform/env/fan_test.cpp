// Fans: presence, readings, records and traces of both shapes.
#include "platform/env/pcSimFan.h"

#include "tests/platform/env/fixture.h"
#include "tests/support/record_image.h"

namespace {

using namespace pcsim::test;

class Fan : public UnitTest {};

void expectIncident(const char* function, const char* text) {
    ASSERT_EQ(host().incidents.size(), 1u);
    const Incident& incident = host().incidents[0];
    EXPECT_EQ(incident.text, text);
    EXPECT_EQ(incident.function, function);
    EXPECT_EQ(incident.file, "pcSimFan.c");
    EXPECT_EQ(incident.id, 0x520005u);
    EXPECT_EQ(incident.component, &host().sys.record);
    EXPECT_EQ(host().sys.counters[5], 1u);
    host().incidents.clear();
    host().sys.counters[5] = 0;
}

// --- Presence -------------------------------------------------------------------------------

TEST_F(Fan, FourFansArePresentAtLoad) {
    EXPECT_EQ(pcSimFanPresentMask, 0x0000000Fu);
    for (int32_t fan = 0; fan < 32; ++fan) EXPECT_EQ(pcSimIsFanPresent(fan), fan < 4 ? 2u : 0u);
}

TEST_F(Fan, PresenceIsTheFansBitOfTheMask) {
    pcSimFanPresentMask = 1u << 1;
    EXPECT_EQ(pcSimIsFanPresent(0), 0u);
    EXPECT_EQ(pcSimIsFanPresent(1), 2u);
    EXPECT_EQ(pcSimIsFanPresent(2), 0u);
    for (int32_t bit = 0; bit < 32; ++bit) {
        pcSimFanPresentMask = 1u << bit;
        for (int32_t fan = 0; fan < 32; ++fan)
            EXPECT_EQ(pcSimIsFanPresent(fan), fan == bit ? 2u : 0u) << bit << " " << fan;
    }
}

TEST_F(Fan, OnlyTheLowFiveBitsOfTheFanNumberCount) {
    pcSimFanPresentMask = 1u << 1;
    EXPECT_EQ(pcSimIsFanPresent(33), 2u);
    EXPECT_EQ(pcSimIsFanPresent(32), 0u);
    EXPECT_EQ(pcSimIsFanPresent(-31), 2u);
    EXPECT_EQ(pcSimIsFanPresent(-1), 0u);
    EXPECT_EQ(pcSimIsFanPresent(INT32_MIN + 1), 2u);
    EXPECT_EQ(pcSimIsFanPresent(INT32_MAX), 0u);
    pcSimFanPresentMask = 0x80000000u;
    EXPECT_EQ(pcSimIsFanPresent(-1), 2u);
    EXPECT_EQ(pcSimIsFanPresent(31), 2u);
    EXPECT_EQ(pcSimIsFanPresent(INT32_MAX), 2u);
}

// --- Readings -------------------------------------------------------------------------------

TEST_F(Fan, ReadingsFollowFromTheNumbers) {
    struct Row {
        uint32_t number, odometer, temperature, stackRpm, chassisRpm;
    };
    const Row rows[] = {{0, 0, 2500, 10000, 20000},
                        {2, 20, 2502, 10002, 20002},
                        {3, 30, 2503, 10003, 20003},
                        {10, 100, 2510, 10010, 20010},
                        {0xFFFFFFFF, 0xFFFFFFF6, 2499, 9999, 19999}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.number);
        uint32_t out = 0xA5A5A5A5;
        EXPECT_EQ(pcSimFanGetOdometer(row.number, &out), 0u);
        EXPECT_EQ(out, row.odometer);
        EXPECT_EQ(pcSimFanReadTemp(row.number, &out), 0u);
        EXPECT_EQ(out, row.temperature);
        // The slot makes no difference to the speed.
        for (const uint32_t slot : {0u, 7u, 0xFFFFFFFFu}) {
            EXPECT_EQ(pcSimStackFanReadRpm(slot, row.number, &out), 0u);
            EXPECT_EQ(out, row.stackRpm);
            EXPECT_EQ(pcSimChassisFanReadRpm(slot, row.number, &out), 0u);
            EXPECT_EQ(out, row.chassisRpm);
        }
    }
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Fan, SettingsAreTracedAndNotStored) {
    EXPECT_EQ(pcSimFanSetSpeed(3, 2, 75), 0u);
    expectIncident("pcSimFanSetSpeed", "Setting fan 3 on slot 2 to 75 percent max output");
    EXPECT_EQ(pcSimFanSetSpeed(-1, INT32_MIN, 1000), 0u);
    expectIncident("pcSimFanSetSpeed",
                   "Setting fan -1 on slot -2147483648 to 1000 percent max output");
    EXPECT_EQ(pcSimFanSetOdometer(2, 12345), 0u);
    expectIncident("pcSimFanSetOdometer", "Setting fan odometer slot 2 to 12345");
    EXPECT_EQ(pcSimFanSetOdometer(-2, -5), 0u);
    expectIncident("pcSimFanSetOdometer", "Setting fan odometer slot -2 to -5");
    EXPECT_EQ(pcSimFanInitOdometer(4), 0u);
    expectIncident("pcSimFanSetOdometer", "Setting fan odometer slot 4 to 0");

    uint32_t out = 0;
    pcSimFanGetOdometer(2, &out);
    EXPECT_EQ(out, 20u);
}

TEST_F(Fan, TracesNeedLevelSixAndTheirClass) {
    host().sys.set(5, 0xFF);
    pcSimFanSetSpeed(1, 1, 1);
    pcSimFanSetOdometer(1, 1);
    EXPECT_EQ(host().sys.counters[5], 0u);
    host().sys.set(6, static_cast<uint8_t>(~(1u << 5)));
    pcSimFanSetSpeed(1, 1, 1);
    pcSimFanSetOdometer(1, 1);
    EXPECT_EQ(host().sys.counters[5], 2u);
    EXPECT_TRUE(host().incidents.empty());
    host().sys.set(6, 1u << 5);
    pcSimFanSetSpeed(1, 1, 1);
    EXPECT_EQ(host().incidents.size(), 1u);
}

// --- Databases ------------------------------------------------------------------------------

TEST_F(Fan, DatabaseIsTheSameForBothShapes) {
    for (auto* setup : {pcSimStackFanDBSetup, pcSimChassisFanDBSetup}) {
        RecordImage record(sizeof(HalEnvDb) + 8);
        record.u32(0, 1000)
            .u32(4, 10000)
            .u32(8, 0)
            .operation(kIsPresent, pcSimIsFanPresent)
            .u32(kWord4, 0);
        record.between(12, kIsPresent).between(kWord4 + 4, sizeof(HalEnvDb));
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(setup(record.as<HalFanDb>()), 0u);
            record.check();
        }
    }
}

TEST_F(Fan, SlotDatabaseIsFilledWordByWord) {
    struct Row {
        decltype(&pcSimStackFanSlotDBSetup) setup;
        uint32_t word0;
        HalFanReadHwInfoFn* readHwInfo;
        HalFanReadRpmFn* readRpm;
    };
    const Row rows[] = {
        {pcSimStackFanSlotDBSetup, 5000, pcSimStackFanReadHwInfo, pcSimStackFanReadRpm},
        {pcSimChassisFanSlotDBSetup, 1000, pcSimChassisFanReadHwInfo, pcSimChassisFanReadRpm}};
    for (const Row& row : rows) {
        for (const uint32_t slot : {0u, 3u, 11u, 0xFFFFFFFFu}) {
            RecordImage record(sizeof(HalFanSlotDb) + 8);
            record.u32(0, row.word0).u32(4, 500).u32(8, 50000).u32(12, 0).u32(16, 0);
            record.operation(word(5), row.readHwInfo).operation(word(6), pcSimFanReadTemp);
            record.operation(word(7), pcSimFanInitOdometer).operation(word(8), pcSimFanSetOdometer);
            record.operation(word(9), pcSimFanGetOdometer).operation(word(10), row.readRpm);
            record.u32(word(11), 0).operation(word(12), pcSimFanSetSpeed).u32(word(13), 0);
            record.between(20, word(5)).between(word(11) + 4, word(12));
            record.between(word(13) + 4, sizeof(HalFanSlotDb));
            EXPECT_EQ(row.setup(slot, record.as<HalFanSlotDb>()), 0u);
            record.check();
        }
    }
}

// --- Part information -----------------------------------------------------------------------

void expectPart(RecordImage* record, size_t at, const char* name, const char* serial,
                const char* part) {
    record->text(at, name).text(at + 32, serial).text(at + 48, part);
    record->u8(at + 64, 0).u8(at + 65, 1).u32(at + 72, kNow).u32(at + 76, 0);
}

void expectStackPart(RecordImage* record, size_t at) {
    expectPart(record, at, "Fan", "SN: 1234567", "PN:1N2039-1");
}

void expectChassisPart(RecordImage* record, size_t at, uint32_t number) {
    expectPart(record, at, number == 1 ? "Left" : "Right", "SN:12345", "PN:1N2039");
}

TEST_F(Fan, PartInformationTouchesItsOwnBytesAlone) {
    for (const uint32_t number : {0u, 1u, 2u, 3u, 33u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(number);
        RecordImage stack(88);
        expectStackPart(&stack, 0);
        EXPECT_EQ(pcSimStackFanGetPartInfo(number, stack.as<HalPartInfo>()), 0u);
        stack.check();
        RecordImage chassis(88);
        expectChassisPart(&chassis, 0, number);
        EXPECT_EQ(pcSimChassisFanGetPartInfo(number, chassis.as<HalPartInfo>()), 0u);
        chassis.check();
    }
}

// --- Hardware information -------------------------------------------------------------------

constexpr size_t kHeadSize = 264;
constexpr size_t kEntrySize = 20;

TEST_F(Fan, StackHardwareInformationTouchesItsOwnBytesAlone) {
    for (const uint32_t number : {0u, 1u, 2u, 3u, 6u, 32u}) {
        SCOPED_TRACE(number);
        RecordImage record(kHeadSize + kEntrySize * (number + 1));
        expectStackPart(&record, 4);
        record.u8(220, 0).u8(221, 0).u32(256, number);
        for (uint32_t i = 0; i < number; ++i) record.u8(kHeadSize + kEntrySize * i, 0);
        EXPECT_EQ(pcSimStackFanReadHwInfo(number, record.as<HalFanHwInfo>()), 0u);
        record.check();
    }
}

void expectChassisHead(RecordImage* record, uint32_t number) {
    expectChassisPart(record, 4, number);
    record->text(116, "1.2").text(156, "Propeller on 10/1/2004");
    record->u8(220, 0).u8(221, 2).u16(222, 4800).u16(224, 1200).u16(226, 0);
    record->u32(228, 10000).u32(232, 500).u32(236, 0).u32(256, number);
}

TEST_F(Fan, ChassisHardwareInformationTouchesItsOwnBytesAlone) {
    for (const uint32_t number : {0u, 1u, 2u, 3u, 6u, 32u}) {
        SCOPED_TRACE(number);
        RecordImage record(kHeadSize + kEntrySize * (number + 1));
        expectChassisHead(&record, number);
        for (uint32_t i = 0; i < number; ++i) record.u8(kHeadSize + kEntrySize * i, 0);
        if (number == 2) record.text(kHeadSize, "Right").text(kHeadSize + kEntrySize, "Left");
        EXPECT_EQ(pcSimChassisFanReadHwInfo(number, record.as<HalFanHwInfo>()), 0u);
        record.check();
    }
}

TEST_F(Fan, NumberThatCanBeNoCountTouchesNoEntry) {
    for (const uint32_t number : {33u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(number);
        RecordImage stack(kHeadSize + 64 * kEntrySize);
        expectStackPart(&stack, 4);
        stack.u8(220, 0).u8(221, 0).u32(256, number);
        EXPECT_EQ(pcSimStackFanReadHwInfo(number, stack.as<HalFanHwInfo>()), 0u);
        stack.check();
        RecordImage chassis(kHeadSize + 64 * kEntrySize);
        expectChassisHead(&chassis, number);
        EXPECT_EQ(pcSimChassisFanReadHwInfo(number, chassis.as<HalFanHwInfo>()), 0u);
        chassis.check();
    }
}

}  // namespace
