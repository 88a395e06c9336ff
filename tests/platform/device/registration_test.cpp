// Devices: initialisation, registration and its failures, the state poll, capabilities.
#include <cstdlib>

#include "tests/platform/device/device_fixture.h"
#include "tests/support/record_image.h"

namespace {

using namespace pcsim::test;

using Registration = DeviceTest;

constexpr uint32_t kDevices[] = {0, 1, 3, 5};

RecordImage zeroed(size_t size) {
    RecordImage image(size);
    image.zeros(0, size);
    return image;
}

// --- Initialisation -------------------------------------------------------------------------

TEST_F(Registration, InitialisationStartsThePollAndThenRegisters) {
    EXPECT_EQ(pcSimDeviceInit(), 0);
    EXPECT_EQ(calls(),
              (Lines{"halStartTimer(internal, 0, 0, 5000, 0)", "halRegisterDevice(record)"}));
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(libc().allocations, 5u);
}

TEST_F(Registration, RecordListsTheFourDevices) {
    registerDevices();
    ASSERT_EQ(host().deviceRegistrations.size(), 1u);
    RecordImage record = zeroed(312);
    record.u32(0, 312).u32(4, 4);
    record.text(8, "PSUCTRL").text(8 + 33, "1").u32(8 + 72, 0);
    record.text(84, "PSUCTRL").text(84 + 33, "2").u32(84 + 72, 1);
    record.text(160, "mouse").text(160 + 33, "usb").u32(160 + 72, 3);
    record.text(236, "floppy").text(236 + 33, "A").u32(236 + 72, 5);
    record.checkAgainst(host().deviceRegistrations[0]);
}

TEST_F(Registration, InformationRecordsHoldTheIdentityOfEachDevice) {
    struct Row {
        uint32_t device, reported;
        const char *name, *serial, *part, *version, *build;
        uint32_t a, b, c, time, j;
    };
    const char* tarnster = "Tarnster on 10/1/2004";
    const Row rows[] = {
        {0, 0, "Tarn 1", "SN:TN1", "PN:TARN", "2.1", tarnster, 0, 1, 0, kNow, 1000},
        {1, 0, "Tarn 2", "SN:TN2", "PN:TARN", "2.3", tarnster, 1, 1, 0, kNow, 1000},
        {3, 0, "USB Mouse", "SN:4321", "PN:MOUSE", "4.3", "Squeak on 10/1/2004", 1, 1, 0, 0, 200},
        {5, 8, "Floppy", "SN:1234-32", "PN:FLOPPY", "4.3", "DVD on 10/1/2004", 0, 2, 1, kNow, 100}};
    registerDevices();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.device);
        RecordImage record = zeroed(300);
        record.u32(0, row.reported).u32(4, row.device);
        record.text(44, row.name).text(76, row.serial).text(92, row.part);
        record.u8(108, row.a).u8(109, row.b).u32(112, row.c).u32(116, row.time).u32(120, 0);
        record.text(156, row.version).text(196, row.build);
        record.u8(260, 0).u8(261, 2).u16(262, 4800).u32(264, 1200).u32(268, 0).u32(272, row.j);
        record.checkAgainst(info(row.device));
    }
}

TEST_F(Registration, InformationRecordsLieInOneArrayByDeviceNumber) {
    registerDevices();
    const auto* first = reinterpret_cast<const uint8_t*>(info(0));
    for (const uint32_t device : kDevices)
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(info(device)), first + 300 * device);
    zeroed(300).checkAgainst(first + 300 * 2);
    zeroed(300).checkAgainst(first + 300 * 4);
}

TEST_F(Registration, StatusRecordsBeginWithNone) {
    registerDevices();
    // The records are seen through commands that stamp them; the floppy's own is sent as it is.
    RecordImage floppy = zeroed(272);
    floppy.u32(0, 5).u32(4, 272).text(16, "None");
    floppy.checkAgainst(status(5));
    RecordImage tarn = zeroed(272);
    tarn.u32(0, 1).u32(4, 272).u32(8, 777).u32(12, 2600).text(16, "None");
    tarn.checkAgainst(status(1));
    RecordImage mouse = zeroed(272);
    mouse.u32(0, 3).u32(4, 272).u32(12, 2700).text(16, "None");
    mouse.checkAgainst(status(3));
}

TEST_F(Registration, ResultOfTheHostIsIgnored) {
    host().registerDeviceResult = -7;
    EXPECT_EQ(pcSimDeviceInit(), 0);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Registration, SecondCallFillsTheSameRecordsAgain) {
    registerDevices();
    printed([] { send(HAL_DEVICE_ENABLE, 0); });
    HalDeviceStatus* tarnStatus = status(0);
    EXPECT_STREQ(tarnStatus->text, "Tarn Status:\n\nLast Command: Tarn 0 is enabled");
    HalDeviceInfo* tarnInfo = info(0);
    libc().now = kNow + 60;

    EXPECT_EQ(pcSimRegisterDevice(), 0);
    EXPECT_EQ(calls(), (Lines{"halRegisterDevice(record)"}));
    EXPECT_EQ(host().deviceRegistrations[0], host().deviceRegistrations[1]);
    RecordImage record = zeroed(272);
    record.u32(0, 0).u32(4, 272).text(16, "None");
    record.checkAgainst(tarnStatus);
    EXPECT_EQ(tarnInfo->part.timeStamp, kNow + 60);
    EXPECT_EQ(info(0), tarnInfo);
    EXPECT_EQ(status(0), tarnStatus);
    EXPECT_EQ(libc().allocations, 5u);
}

TEST_F(Registration, ThousandRegistrationsLeakNothing) {
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(pcSimRegisterDevice(), 0);
    EXPECT_EQ(libc().blocksInUse, 5);
}

// --- Allocation failures --------------------------------------------------------------------

class FailingAllocation : public DeviceTest, public testing::WithParamInterface<int32_t> {};

TEST_P(FailingAllocation, IsReportedAndCanBeRepeated) {
    const int32_t n = GetParam();
    libc().failNext(static_cast<uint32_t>(n));
    EXPECT_EQ(pcSimDeviceInit(), -n);
    EXPECT_EQ(calls(), (Lines{"halStartTimer(internal, 0, 0, 5000, 0)"}));
    Lines texts;
    if (n == 1) texts.push_back("pcSimRegisterDevice - unable to calloc");
    texts.push_back("pcSimDeviceInit - unable to register platform devices. rc = -" +
                    std::to_string(n));
    EXPECT_EQ(host().incidentTexts(), texts);
    for (const Incident& incident : host().incidents) {
        EXPECT_EQ(incident.file, "pcSimDevice.c");
        EXPECT_EQ(incident.id, 0x520001u);
        EXPECT_EQ(incident.component, &host().sys.record);
    }
    // What was allocated before the failure is kept.
    EXPECT_EQ(libc().blocksInUse, n - 1);

    // Not registered: no poll, no command.
    host().timers[0].callback(0);
    for (const uint32_t device : kDevices) EXPECT_EQ(send(HAL_DEVICE_GET_STATUS, device), -1);
    EXPECT_EQ(calls(), Lines{});

    EXPECT_EQ(pcSimRegisterDevice(), 0);
    EXPECT_EQ(calls(), (Lines{"halRegisterDevice(record)"}));
    EXPECT_EQ(libc().blocksInUse, 5);
    EXPECT_EQ(send(HAL_DEVICE_GET_INFO, 5), 0);
}

TEST_P(FailingAllocation, ForEverFailsTheSameWayEachTime) {
    const int32_t n = GetParam();
    libc().failAllFrom(static_cast<uint32_t>(n));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(pcSimRegisterDevice(), -n);
    EXPECT_EQ(libc().blocksInUse, n - 1);
    EXPECT_EQ(calls(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(OfEachRecord, FailingAllocation, testing::Range(1, 6));

TEST_F(Registration, FailureTracesNeedLevelTwo) {
    host().sys.set(1, 0xFF);
    libc().failNext();
    EXPECT_EQ(pcSimDeviceInit(), -1);
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(host().sys.counters[1], 0u);
    host().sys.set(2, 0xFF);
    libc().failNext();
    EXPECT_EQ(pcSimDeviceInit(), -1);
    EXPECT_EQ(host().incidents.size(), 2u);
    EXPECT_EQ(host().sys.counters[1], 2u);
}

// --- State poll -----------------------------------------------------------------------------

class Poll : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        ASSERT_EQ(pcSimDeviceInit(), 0);
        host().calls.clear();
    }
    static Lines poll() {
        host().timers[0].callback(host().timers[0].argument);
        return calls();
    }
};

TEST_F(Poll, FirstPollReportsAllFourDevices) {
    const uint32_t states[] = {1, 2, 0, 6, 0, 0};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(pcSimDeviceState[i], states[i]);
    EXPECT_EQ(poll(), (Lines{"halUpdateDeviceInfo(device 0, state 1, reply 0)",
                             "halUpdateDeviceInfo(device 1, state 2, reply 0)",
                             "halUpdateDeviceInfo(device 3, state 6, reply 0)",
                             "halUpdateDeviceInfo(device 5, state 0, reply 0)"}));
    EXPECT_EQ(poll(), Lines{});
}

TEST_F(Poll, ChangesAreReportedOnce) {
    poll();
    pcSimDeviceState[3] = 0xFFFFFFFF;
    pcSimDeviceState[1] = 0;
    EXPECT_EQ(poll(), (Lines{"halUpdateDeviceInfo(device 1, state 0, reply 0)",
                             "halUpdateDeviceInfo(device 3, state 4294967295, reply 0)"}));
    EXPECT_EQ(poll(), Lines{});
    // There and back between two polls is no change.
    pcSimDeviceState[5] = 4;
    pcSimDeviceState[5] = 0;
    EXPECT_EQ(poll(), Lines{});
}

TEST_F(Poll, StateThatTheHostRefusesIsStillReportedOnce) {
    host().deviceInfoResult = -1;
    EXPECT_EQ(poll().size(), 4u);
    EXPECT_EQ(poll(), Lines{});
}

TEST_F(Poll, NumbersWithoutADeviceAreSkipped) {
    poll();
    pcSimDeviceState[2] = 9;
    pcSimDeviceState[4] = 9;
    EXPECT_EQ(poll(), Lines{});
}

TEST_F(Poll, NewRegistrationMakesThePollReportAgain) {
    poll();
    EXPECT_EQ(pcSimRegisterDevice(), 0);
    calls();
    // All but the floppy differ from 0; the floppy is marked afresh.
    EXPECT_EQ(poll().size(), 4u);
}

// --- Capability -----------------------------------------------------------------------------

TEST_F(Registration, CapabilityOfEachTypeName) {
    struct Row {
        const char* typeName;
        uint32_t bits;
    };
    const Row rows[] = {{"PSUCTRL", 7},  {"mouse", 1},
                        {"floppy", 3},   {"", 0},
                        {"psuctrl", 0},  {"mouse ", 0},
                        {"mous", 0},     {"floppyA", 0},
                        {"PSUCTRL1", 0}, {"a type name of thirty-one byt.", 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.typeName);
        // The word at 36 holds what the memory held.
        RecordImage record(44);
        record.u32(0, 44).zeros(4, 32).text(4, row.typeName).u32(40, row.bits);
        HalDeviceCapability* capability = pcSimGetDeviceCapability(row.typeName);
        ASSERT_NE(capability, nullptr);
        record.checkAgainst(capability);
        std::free(capability);
    }
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(Registration, TypeNameThatFillsItsFieldHasNoTerminator) {
    const std::string full = "0123456789abcdef0123456789ABCDEF";
    for (const std::string& name : {full, full + "and more"}) {
        RecordImage record(44);
        record.u32(0, 44).text(4, full).u32(40, 0);
        for (size_t i = 36; i < 40; ++i) record.u8(i, 0xA5);
        HalDeviceCapability* capability = pcSimGetDeviceCapability(name.c_str());
        ASSERT_NE(capability, nullptr);
        record.checkAgainst(capability);
        std::free(capability);
    }
}

TEST_F(Registration, CapabilityIsNullWithoutMemory) {
    libc().failNext();
    EXPECT_EQ(pcSimGetDeviceCapability("mouse"), nullptr);
    EXPECT_TRUE(host().incidents.empty());
}

}  // namespace
