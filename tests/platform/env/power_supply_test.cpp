// Power supplies: presence, readings, records and traces of both shapes.
#include "platform/env/pcSimPowerSupply.h"

#include "tests/platform/env/fixture.h"
#include "tests/support/record_image.h"

namespace {

using namespace pcsim::test;

class PowerSupply : public UnitTest {};

// --- Presence and readings ------------------------------------------------------------------

TEST_F(PowerSupply, SuppliesOneToFourArePresentAtLoad) {
    EXPECT_EQ(pcSimPowerSupplyPresentMask, 0x0000001Eu);
    for (int32_t supply = 0; supply < 32; ++supply)
        EXPECT_EQ(pcSimIsPowerSupplyPresent(supply), supply >= 1 && supply <= 4 ? 4u : 0u);
}

TEST_F(PowerSupply, OnlyTheLowFiveBitsOfTheSupplyNumberCount) {
    pcSimPowerSupplyPresentMask = 0x80000001u;
    for (const int32_t present : {0, 31, 32, 63, -1, -32, INT32_MAX, INT32_MIN})
        EXPECT_EQ(pcSimIsPowerSupplyPresent(present), 4u) << present;
    for (const int32_t absent : {1, 30, 33, -2, -31, INT32_MAX - 1, INT32_MIN + 1})
        EXPECT_EQ(pcSimIsPowerSupplyPresent(absent), 0u) << absent;
}

TEST_F(PowerSupply, ReadingsFollowFromTheSlot) {
    struct Row {
        uint32_t slot, odometer, temperature;
    };
    const Row rows[] = {
        {0, 0, 3000}, {3, 300, 3003}, {10, 1000, 3010}, {0xFFFFFFFF, 0xFFFFFF9C, 2999}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.slot);
        uint32_t out = 0xA5A5A5A5;
        EXPECT_EQ(pcSimPSGetOdometer(row.slot, &out), 0u);
        EXPECT_EQ(out, row.odometer);
        EXPECT_EQ(pcSimPSReadTemp(row.slot, &out), 0u);
        EXPECT_EQ(out, row.temperature);
    }
}

TEST_F(PowerSupply, LinesReadConstants) {
    for (const uint32_t slot : {0u, 1u, 0xFFFFFFFFu}) {
        uint32_t a = 1;
        uint32_t b = 1;
        EXPECT_EQ(pcSimStackPSReadInputLine(slot, &a, &b), 0u);
        EXPECT_EQ(a, 12000u);
        EXPECT_EQ(b, 5000u);
        EXPECT_EQ(pcSimChassisPSReadInputLine(slot, &a, &b), 0u);
        EXPECT_EQ(a, 24000u);
        EXPECT_EQ(b, 5000u);
        struct Row {
            int32_t line;
            uint32_t a, b;
        };
        const Row rows[] = {{1, 4891, 5000}, {2, 1376, 200},    {3, 0, 0},        {0, 0, 0},
                            {-1, 0, 0},      {INT32_MAX, 0, 0}, {INT32_MIN, 0, 0}};
        for (const Row& row : rows) {
            SCOPED_TRACE(row.line);
            a = b = 0xA5A5A5A5;
            EXPECT_EQ(pcSimStackPSReadOutputLine(slot, row.line, &a, &b), 0u);
            EXPECT_EQ(a, 0u);
            EXPECT_EQ(b, 0u);
            a = b = 0xA5A5A5A5;
            EXPECT_EQ(pcSimChassisPSReadOutputLine(slot, row.line, &a, &b), 0u);
            EXPECT_EQ(a, row.a);
            EXPECT_EQ(b, row.b);
        }
        for (int32_t line = 3; line < 1000; ++line) {
            EXPECT_EQ(pcSimChassisPSReadOutputLine(slot, line, &a, &b), 0u);
            EXPECT_EQ(a | b, 0u) << line;
        }
    }
}

TEST_F(PowerSupply, OdometerSettingIsTracedAndNotStored) {
    EXPECT_EQ(pcSimPSSetOdometer(2, 12345), 0u);
    EXPECT_EQ(pcSimPSSetOdometer(0xFFFFFFFF, 0x80000000), 0u);
    ASSERT_EQ(host().incidents.size(), 2u);
    const Incident& incident = host().incidents[0];
    EXPECT_EQ(incident.text, "Setting power supply odometer slot 2 to 12345");
    EXPECT_EQ(incident.function, "pcSimPSSetOdometer");
    EXPECT_EQ(incident.file, "pcSimPowerSupply.c");
    EXPECT_EQ(incident.id, 0x520005u);
    EXPECT_EQ(incident.component, &host().sys.record);
    EXPECT_EQ(host().incidents[1].text, "Setting power supply odometer slot -1 to -2147483648");
    uint32_t out = 0;
    pcSimPSGetOdometer(2, &out);
    EXPECT_EQ(out, 200u);
    host().sys.set(5, 0xFF);
    pcSimPSSetOdometer(1, 1);
    EXPECT_EQ(host().incidents.size(), 2u);
    EXPECT_EQ(host().sys.counters[5], 2u);
}

TEST_F(PowerSupply, OdometerInitialisationDoesNothing) {
    for (const uint32_t slot : {0u, 2u, 0xFFFFFFFFu}) EXPECT_EQ(pcSimPSInitOdometer(slot), 0u);
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(host().sys.counters[5], 0u);
}

// --- Databases ------------------------------------------------------------------------------

TEST_F(PowerSupply, DatabaseLeavesWordOneToTheHal) {
    for (auto* setup : {pcSimStackPSDBSetup, pcSimChassisPSDBSetup}) {
        RecordImage record(sizeof(HalEnvDb) + 8);
        record.u32(0, 1000)
            .u32(8, 0)
            .operation(kIsPresent, pcSimIsPowerSupplyPresent)
            .u32(kWord4, 0);
        record.between(12, kIsPresent).between(kWord4 + 4, sizeof(HalEnvDb));
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(setup(record.as<HalPowerSupplyDb>()), 0u);
            record.check();
        }
    }
}

TEST_F(PowerSupply, SlotDatabaseIsFilledWordByWord) {
    struct Row {
        decltype(&pcSimStackPSSlotDBSetup) setup;
        HalPowerSupplyReadHwInfoFn* readHwInfo;
        HalPSReadInputLineFn* readInputLine;
        HalPSReadOutputLineFn* readOutputLine;
    };
    const Row rows[] = {{pcSimStackPSSlotDBSetup, pcSimStackPowerSupplyReadHwInfo,
                         pcSimStackPSReadInputLine, pcSimStackPSReadOutputLine},
                        {pcSimChassisPSSlotDBSetup, pcSimChassisPowerSupplyReadHwInfo,
                         pcSimChassisPSReadInputLine, pcSimChassisPSReadOutputLine}};
    for (const Row& row : rows) {
        for (const uint32_t slot : {0u, 3u, 0xFFFFFFFFu}) {
            RecordImage record(sizeof(HalPSSlotDb) + 8);
            record.u32(0, 2000).u32(4, 500).u32(8, 50000).u32(12, 0).u32(16, 0);
            record.operation(word(5), row.readHwInfo).operation(word(6), pcSimPSReadTemp);
            record.operation(word(7), pcSimPSInitOdometer).operation(word(8), pcSimPSSetOdometer);
            record.operation(word(9), pcSimPSGetOdometer).operation(word(10), row.readInputLine);
            record.operation(word(11), row.readOutputLine).zeros(word(12), 16);
            record.between(20, word(5));
            EXPECT_EQ(row.setup(slot, record.as<HalPSSlotDb>()), 0u);
            record.check();
        }
    }
}

// --- Hardware information -------------------------------------------------------------------

constexpr size_t kSize = 320;
constexpr uint32_t kA5 = 0xA5A5A5A5;

void expectHead(RecordImage* record, const char* name, const char* version) {
    record->text(4, name).text(36, "SN:12345").text(52, "PN:1N2039").u8(68, 0).u8(69, 0);
    record->u32(76, kNow).u32(80, 0).text(116, version).text(156, "Turbine on 10/1/2004");
}

struct Name {
    uint32_t slot;
    const char* name;
    const char* version;
};
const Name kNames[] = {{0, "Internal PSU-1", "1.0"},
                       {2, "Internal PSU-3", "1.2"},
                       {3, "Internal PSU-4", "1.3"},
                       {0x7FFFFFFF, "Internal PSU--2147483648", "1.2147483647"},
                       {0xFFFFFFFF, "Internal PSU-0", "1.-1"}};

TEST_F(PowerSupply, StackHardwareInformationTouchesItsOwnBytesAlone) {
    for (const Name& row : kNames) {
        SCOPED_TRACE(row.slot);
        RecordImage record(kSize + 16);
        // What the HAL left in the first line goes into the others.
        for (size_t i = 0; i < 20; ++i) record.holds(228 + i, 0x40 + static_cast<uint32_t>(i), 1);
        for (size_t line = 1; line < 3; ++line)
            for (size_t i = 0; i < 20; ++i)
                record.u8(228 + 20 * line + i, 0x40 + static_cast<uint32_t>(i));
        expectHead(&record, row.name, row.version);
        record.u32(220, 12000).u32(224, 0);
        for (size_t at = 228; at < 288; at += 20)
            record.u8(at, 0).u8(at + 1, 1).u16(at + 2, 1200).u32(at + 8, at == 228 ? 20000 : 19000);
        record.u32(316, kA5 & ~8u);
        EXPECT_EQ(pcSimStackPowerSupplyReadHwInfo(row.slot, record.as<HalPowerSupplyHwInfo>()), 0u);
        record.check();
    }
}

TEST_F(PowerSupply, ChassisHardwareInformationTouchesItsOwnBytesAlone) {
    for (const Name& row : kNames) {
        SCOPED_TRACE(row.slot);
        RecordImage record(kSize + 16);
        expectHead(&record, row.name, row.version);
        record.u32(220, 24000);
        for (size_t at = 228; at < 288; at += 20) {
            record.u8(at, 0).u8(at + 1, 2).u16(at + 2, 4800).u16(at + 4, 1200).u16(at + 6, 0);
            record.u32(at + 8, at == 228 ? 80000 : 75000).u32(at + 12, 10000).u32(at + 16, 0);
        }
        record.u32(316, kA5 & ~8u);
        EXPECT_EQ(pcSimChassisPowerSupplyReadHwInfo(row.slot, record.as<HalPowerSupplyHwInfo>()),
                  0u);
        record.check();
    }
}

TEST_F(PowerSupply, OnlyFlagThreeIsCleared) {
    for (auto* read : {pcSimStackPowerSupplyReadHwInfo, pcSimChassisPowerSupplyReadHwInfo}) {
        const uint32_t rows[][2] = {
            {0xFFFFFFFF, 0xFFFFFFF7}, {8, 0}, {0, 0}, {0x5A5A5A57, 0x5A5A5A57}};
        for (const auto& [before, after] : rows) {
            HalPowerSupplyHwInfo info{};
            info.flags = before;
            EXPECT_EQ(read(2, &info), 0u);
            EXPECT_EQ(info.flags, after);
        }
    }
}

}  // namespace
