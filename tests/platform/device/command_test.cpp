// Device commands: dispatch, every code of every device, and the command line.
#include <cstdio>
#include <cstring>

#include "tests/platform/device/device_fixture.h"

namespace {

using namespace pcsim::test;

class DeviceCommand : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        registerDevices();
    }
};

std::string refusal(uint32_t code, uint32_t device, uint32_t reply, const char* rest) {
    return "halDeviceCmdError(code " + std::to_string(code) + " device " + std::to_string(device) +
           " argument " + std::to_string(reply) + ", " + rest + ")";
}

const char* const kInvalidHandle = "-32, \"Invalid device handle\n\"";
const char* const kInvalidCommand = "-32, \"Invalid device command\n\"";

// --- Dispatch -------------------------------------------------------------------------------

TEST_F(DeviceCommand, CodeOneRegistersAgainForAnyDevice) {
    for (const uint32_t device : {0u, 1u, 2u, 3u, 5u, 6u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(send(HAL_DEVICE_REGISTER, device), 0);
        EXPECT_EQ(calls(), (Lines{"halRegisterDevice(record)"}));
        EXPECT_EQ(host().deviceRegistrations.back(), host().deviceRegistrations.front());
    }
    EXPECT_EQ(libc().allocations, 5u);
}

TEST_F(DeviceCommand, RegisteringAgainKeepsTheRecords) {
    printed([] { send(HAL_DEVICE_ENABLE, 5); });
    send(HAL_DEVICE_REGISTER, 5);
    EXPECT_STREQ(status(5)->text, "Floppy Status:\n\nLast Command: Floppy is enabled");
}

TEST_F(DeviceCommand, ResultOfRegisteringAgainIsIgnored) {
    host().registerDeviceResult = -9;
    EXPECT_EQ(send(HAL_DEVICE_REGISTER, 0), 0);
}

TEST_F(DeviceCommand, UnknownDeviceIsAnInvalidHandle) {
    for (const uint32_t device : {2u, 4u, 6u, 7u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (const uint32_t code : {0u, 2u, 3u, 4u, 7u}) {
            EXPECT_EQ(send(code, device, 9), -32);
            EXPECT_EQ(calls(), (Lines{refusal(code, device, 9, kInvalidHandle)}));
        }
    }
}

TEST_F(DeviceCommand, UnknownCodeIsAnInvalidCommand) {
    for (const uint32_t device : {0u, 1u, 3u, 5u}) {
        for (const uint32_t code : {0u, 7u, 8u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            EXPECT_EQ(printed([&] { EXPECT_EQ(send(code, device, 4), -32); }), "");
            EXPECT_EQ(calls(), (Lines{refusal(code, device, 4, kInvalidCommand)}));
        }
    }
}

TEST_F(DeviceCommand, HandlersKnowNoRegistration) {
    const HalDeviceCommand command = {.code = HAL_DEVICE_REGISTER, .device = 0, .reply = 0};
    const Lines refused = {refusal(1, 0, 0, kInvalidCommand)};
    EXPECT_EQ(pcSimTarnCmd(0, &command), -32);
    EXPECT_EQ(calls(), refused);
    EXPECT_EQ(pcSimMouseCmd(&command), -32);
    EXPECT_EQ(calls(), refused);
    EXPECT_EQ(pcSimFloppyCmd(&command), -32);
    EXPECT_EQ(calls(), refused);
}

TEST_F(DeviceCommand, TarnHandlerKnowsTwoTarns) {
    for (const uint32_t number : {2u, 3u, 5u, 6u, 0x80000000u, 0xFFFFFFFFu}) {
        for (const uint32_t code : {0u, 2u, 3u, 4u, 6u}) {
            const HalDeviceCommand command = {.code = code, .device = 0, .reply = 0};
            EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimTarnCmd(number, &command), -32); }), "");
            EXPECT_EQ(calls(), (Lines{refusal(code, 0, 0, kInvalidHandle)}));
        }
    }
}

TEST_F(DeviceCommand, RefusalHandsBackTheCommandItself) {
    const HalDeviceCommand command = {.code = 9, .device = 3, .reply = 0};
    pcSimDeviceCommand(&command);
    EXPECT_EQ(host().refusedCommands.back(), &command);
}

// --- Information and status -----------------------------------------------------------------

TEST_F(DeviceCommand, InformationGoesToTheHandleOfTheCommand) {
    for (const uint32_t device : {0u, 1u, 3u, 5u}) {
        host().deviceInfoResult = 11;
        EXPECT_EQ(send(HAL_DEVICE_GET_INFO, device, 0xFFFFFFFF), 11);
        EXPECT_EQ(calls(), (Lines{"halUpdateDeviceInfo(device " + std::to_string(device) +
                                  ", state " + (device == 5 ? "8" : "0") + ", reply 4294967295)"}));
    }
    host().deviceInfoResult = -4;
    EXPECT_EQ(send(HAL_DEVICE_GET_INFO, 1), -4);
}

TEST_F(DeviceCommand, StatusOfTheTarnsIsStamped) {
    host().monotime = 4711;
    host().deviceStatusResult = 12;
    EXPECT_EQ(send(HAL_DEVICE_GET_STATUS, 0, 5), 12);
    EXPECT_EQ(calls(), (Lines{"monotime(0)",
                              "halUpdateDeviceStatus(device 0, time 4711, value 2500, "
                              "\"None\", reply 5)"}));
    EXPECT_EQ(send(HAL_DEVICE_GET_STATUS, 1, 6), 12);
    EXPECT_EQ(calls(), (Lines{"monotime(0)",
                              "halUpdateDeviceStatus(device 1, time 4711, value 2600, "
                              "\"None\", reply 6)"}));
}

TEST_F(DeviceCommand, StatusOfTheMouseHasNoTime) {
    host().deviceStatusResult = -12;
    EXPECT_EQ(send(HAL_DEVICE_GET_STATUS, 3, 7), -12);
    EXPECT_EQ(calls(),
              (Lines{"halUpdateDeviceStatus(device 3, time 0, value 2700, \"None\", reply 7)"}));
}

TEST_F(DeviceCommand, StatusOfTheFloppyStampsTheMouse) {
    const HalDeviceStatus* mouse = status(3);
    EXPECT_EQ(mouse->value, 2700u);
    host().monotime = 4711;
    host().deviceStatusResult = 13;
    EXPECT_EQ(send(HAL_DEVICE_GET_STATUS, 5, 8), 13);
    EXPECT_EQ(calls(), (Lines{"monotime(0)",
                              "halUpdateDeviceStatus(device 5, time 0, value 0, "
                              "\"None\", reply 8)"}));
    EXPECT_EQ(mouse->timeStamp, 4711u);
    EXPECT_EQ(mouse->value, 0u);
    // Asked itself, the mouse stamps its record its own way again.
    send(HAL_DEVICE_GET_STATUS, 3);
    EXPECT_EQ(calls(),
              (Lines{"halUpdateDeviceStatus(device 3, time 0, value 2700, \"None\", reply 0)"}));
}

// --- Texts ----------------------------------------------------------------------------------

struct TextRow {
    uint32_t device, code;
    const char* text;
    bool isPrinted;
    int32_t result;
    const char* refused;
};

// clang-format off
const TextRow kTexts[] = {
    {0, 4, "Tarn Status:\n\nLast Command: Tarn 0 is enabled", true, 0, ""},
    {0, 5, "Tarn Status:\n\nLast Command: Tarn 0 is disabled", true, 0, ""},
    {0, 6, "Tarn Status:\n\nLast Command: Tarn 0 is rebooted", true, 0, ""},
    {1, 4, "Tarn Status:\n\nLast Command: Tarn 1 is enabled", true, 0, ""},
    {1, 5, "Tarn Status:\n\nLast Command: Tarn 1 is disabled", true, 0, ""},
    {1, 6, "Tarn Status:\n\nLast Command: Tarn 1 is rebooted", true, 0, ""},
    {3, 4, "Mouse Status:\n\nLast Command: Duh! Command 4 is not supported", true, -2,
     "-2, \"Command not supported\n\""},
    {3, 5, "Mouse Status:\n\nLast Command: Duh! Command 5 is not supported", true, -2,
     "-2, \"Command not supported\n\""},
    {3, 6, "Mouse Status:\n\nLast Command: Duh! Command 6 is not supported", true, -2,
     "-2, \"Command not supported\n\""},
    {5, 4, "Floppy Status:\n\nLast Command: Floppy is enabled", true, 0, ""},
    {5, 5, "Floppy Status:\n\nLast Command: Floppy is disabled", true, 0, ""},
    {5, 6, "Floppy Status:\n\nLast Command: Reboot floppy. Duh! Not supported", false, -2,
     "-2, \"Reboot floppy not supported\n\""},
};
// clang-format on

TEST_F(DeviceCommand, TextsGoIntoTheStatusRecordAndToStandardOutput) {
    for (const TextRow& row : kTexts) {
        SCOPED_TRACE(row.text);
        int32_t result = 99;
        const std::string out = printed([&] { result = send(row.code, row.device, 3); });
        EXPECT_EQ(out, row.isPrinted ? std::string(row.text) + "\n" : "");
        EXPECT_EQ(result, row.result);
        Lines expected;
        if (row.result != 0) expected.push_back(refusal(row.code, row.device, 3, row.refused));
        EXPECT_EQ(calls(), expected);
        EXPECT_STREQ(status(row.device)->text, row.text);
    }
}

TEST_F(DeviceCommand, TextsOfOneDeviceLeaveTheOthersAlone) {
    printed([] { send(HAL_DEVICE_ENABLE, 1); });
    for (const uint32_t device : {0u, 3u, 5u}) EXPECT_STREQ(status(device)->text, "None");
}

// --- Before registration --------------------------------------------------------------------

class BeforeRegistration : public DeviceTest {};

TEST_F(BeforeRegistration, CommandsTouchNothing) {
    const std::string out = printed([] {
        for (uint32_t code = 0; code < 9; ++code) {
            const HalDeviceCommand command = {.code = code, .device = 0, .reply = 0};
            for (const uint32_t number : {0u, 1u, 2u, 0xFFFFFFFFu})
                EXPECT_EQ(pcSimTarnCmd(number, &command), -1);
            EXPECT_EQ(pcSimMouseCmd(&command), -1);
            EXPECT_EQ(pcSimFloppyCmd(&command), -1);
            if (code == HAL_DEVICE_REGISTER) continue;
            for (uint32_t device = 0; device < 8; ++device) EXPECT_EQ(send(code, device), -1);
        }
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(calls(), Lines{});
    EXPECT_EQ(libc().allocationCalls, 0u);
}

TEST_F(BeforeRegistration, CodeOneRegisters) {
    EXPECT_EQ(send(HAL_DEVICE_REGISTER, 77), 0);
    EXPECT_EQ(calls(), (Lines{"halRegisterDevice(record)"}));
    EXPECT_EQ(send(HAL_DEVICE_GET_INFO, 3), 0);
    EXPECT_EQ(calls(), (Lines{"halUpdateDeviceInfo(device 3, state 0, reply 0)"}));
}

TEST_F(BeforeRegistration, CodeOneAnswersAFailureOfTheRegistration) {
    libc().failNext(3);
    EXPECT_EQ(send(HAL_DEVICE_REGISTER, 0), -3);
    EXPECT_EQ(calls(), Lines{});
}

// --- Command line ---------------------------------------------------------------------------

HalDeviceCli cli(const char* keyword, uint32_t a, uint32_t b, uint32_t c = 0) {
    HalDeviceCli record;
    std::memset(&record, 0xA5, sizeof record);
    std::snprintf(record.keyword, sizeof record.keyword, "%s", keyword);
    record.arguments[0] = a;
    record.arguments[1] = b;
    record.arguments[2] = c;
    return record;
}

TEST_F(DeviceCommand, StateKeywordSetsTheStateTable) {
    const char* const keywords[] = {"state", "STATE", "State", "sTaTe"};
    for (uint32_t device = 0; device < 6; ++device) {
        const HalDeviceCli line = cli(keywords[device % 4], device, 0xABC0 + device);
        int32_t result = 99;
        EXPECT_EQ(
            printed([&] { result = pcSimDeviceCLIHook(&line); }),
            "Setting dev " + std::to_string(device) + " state abc" + std::to_string(device) + "\n");
        EXPECT_EQ(result, 0);
    }
    for (uint32_t device = 0; device < 6; ++device)
        EXPECT_EQ(pcSimDeviceState[device], 0xABC0 + device);
    EXPECT_EQ(calls(), Lines{});
}

TEST_F(DeviceCommand, StateOfADeviceAboveFiveIsRefusedAfterThePrint) {
    const uint32_t before[] = {1, 2, 0, 6, 0, 0};
    struct Row {
        uint32_t device;
        const char* text;
    };
    const Row rows[] = {{6, "Setting dev 6 state 1\n"},
                        {0x7FFFFFFF, "Setting dev 7fffffff state 1\n"},
                        {0xFFFFFFFF, "Setting dev ffffffff state 1\n"}};
    for (const Row& row : rows) {
        const HalDeviceCli line = cli("state", row.device, 1);
        int32_t result = 99;
        EXPECT_EQ(printed([&] { result = pcSimDeviceCLIHook(&line); }), row.text);
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(std::memcmp(pcSimDeviceState, before, sizeof before), 0);
}

TEST_F(DeviceCommand, OtherKeywordsSendACommand) {
    for (const char* keyword : {"cmd", "", "states", "stat", "state "}) {
        SCOPED_TRACE(keyword);
        const HalDeviceCli line = cli(keyword, HAL_DEVICE_GET_STATUS, 1, 0xBEEF);
        host().deviceStatusResult = 21;
        int32_t result = 99;
        EXPECT_EQ(printed([&] { result = pcSimDeviceCLIHook(&line); }),
                  "Dev: 1 Execute cmdCode 3 arg beef\n");
        EXPECT_EQ(result, 21);
        EXPECT_EQ(calls(), (Lines{"monotime(0)",
                                  "halUpdateDeviceStatus(device 1, time 777, value 2600, "
                                  "\"None\", reply 48879)"}));
    }
}

TEST_F(DeviceCommand, CommandLineReachesUnknownDevicesAndCodes) {
    HalDeviceCli line = cli("cmd", 0xFFFFFFFF, 0xFFFFFFFE, 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimDeviceCLIHook(&line), -32); }),
              "Dev: fffffffe Execute cmdCode ffffffff arg 0\n");
    EXPECT_EQ(calls(), (Lines{refusal(0xFFFFFFFF, 0xFFFFFFFE, 0, kInvalidHandle)}));
    line = cli("cmd", HAL_DEVICE_REGISTER, 6, 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimDeviceCLIHook(&line), 0); }),
              "Dev: 6 Execute cmdCode 1 arg 0\n");
    EXPECT_EQ(calls(), (Lines{"halRegisterDevice(record)"}));
}

TEST_F(DeviceCommand, KeywordWithoutEndIsNotState) {
    HalDeviceCli line = cli("", HAL_DEVICE_GET_INFO, 0, 0);
    std::memset(line.keyword, 's', sizeof line.keyword);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimDeviceCLIHook(&line), 0); }),
              "Dev: 0 Execute cmdCode 2 arg 0\n");
}

}  // namespace
