// Platform devices: the records, their registration and the state poll, and the commands as a table
// of command code and device.
#include "platform/device/pcSimDevice.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "pcsim/host.h"
#include "platform/base/record.h"
#include "platform/base/trace.h"

PCSIM_EXPORT uint32_t pcSimDeviceState[HAL_DEVICE_NUMBERS] = {1, 2, 0, 6, 0, 0};

namespace pcsim {
namespace {

constexpr uint32_t kPollPeriodMs = 5000;

enum DeviceNumber : uint32_t { kTarn0 = 0, kTarn1 = 1, kMouse = 3, kFloppy = 5 };

struct Device {
    uint32_t number;
    const char* typeName;
    const char* label;
    const char* name;
    PartConstants part;
    uint32_t part68;
    uint32_t major;
    uint32_t minor;
    const char* build;
    uint32_t word272;
    bool timeStamped;
    uint32_t reportedAtFirst;  // differs from the state at load, so that the first poll reports it
};

// In the order of registration and of the poll. That the mouse has no time stamp is what the HAL
// expects.
// clang-format off
constexpr Device kDevices[HAL_DEVICES_REGISTERED] = {
    {kTarn0,  "PSUCTRL", "1",   "Tarn 1",    {"SN:TN1",     "PN:TARN",   0, 1}, 0, 2, 1,
     "Tarnster on 10/1/2004", 1000, true,  0},
    {kTarn1,  "PSUCTRL", "2",   "Tarn 2",    {"SN:TN2",     "PN:TARN",   1, 1}, 0, 2, 3,
     "Tarnster on 10/1/2004", 1000, true,  0},
    {kMouse,  "mouse",   "usb", "USB Mouse", {"SN:4321",    "PN:MOUSE",  1, 1}, 0, 4, 3,
     "Squeak on 10/1/2004",   200,  false, 0},
    {kFloppy, "floppy",  "A",   "Floppy",    {"SN:1234-32", "PN:FLOPPY", 0, 2}, 1, 4, 3,
     "DVD on 10/1/2004",      100,  true,  8},
};

struct Capability {
    const char* typeName;
    uint32_t bits;
};
constexpr Capability kCapabilities[] = {{"PSUCTRL", 7}, {"mouse", 1}, {"floppy", 3}};
// clang-format on

// The records, as described in the header.
HalDeviceRegistration* registration;
HalDeviceInfo infos[HAL_DEVICE_NUMBERS];
HalDeviceStatus* statuses[HAL_DEVICE_NUMBERS];
bool registered;

template <class Record>
bool allocateOnce(Record*& record) noexcept {
    if (record == nullptr) record = static_cast<Record*>(calloc(1, sizeof(Record)));
    return record != nullptr;
}

void fillEntry(const Device& device, HalDeviceEntry* entry) noexcept {
    *entry = {};
    putText(entry->typeName, device.typeName);
    putText(entry->label, device.label);
    entry->device = device.number;
}

void fillInfo(const Device& device, HalDeviceInfo* info) noexcept {
    *info = {};
    info->reportedState = device.reportedAtFirst;
    info->device = device.number;
    putText(info->part.description, device.name);
    putPart(&info->part, device.part, device.timeStamped ? epochSeconds() : 0);
    info->part.word68 = device.part68;
    putVersion(info->version, device.major, device.minor);
    putText(info->build, device.build);
    info->byte260 = 0;
    info->byte261 = 2;
    info->half262 = 4800;
    info->word264 = 1200;
    info->word268 = 0;
    info->word272 = device.word272;
}

void fillStatus(const Device& device, HalDeviceStatus* status) noexcept {
    *status = {};
    status->device = device.number;
    status->size = sizeof *status;
    putText(status->text, "None");
}

// Tells the HAL of every registered device whose state is not what it was last told.
void pollStates(uint32_t) noexcept {
    if (!registered) return;
    for (const Device& device : kDevices) {
        HalDeviceInfo* info = &infos[device.number];
        if (info->reportedState == pcSimDeviceState[device.number]) continue;
        info->reportedState = pcSimDeviceState[device.number];
        halUpdateDeviceInfo(info, 0);
    }
}

// --- Commands ------------------------------------------------------------------------------------

int32_t refuse(const HalDeviceCommand* command, int32_t result, const char* text) noexcept {
    halDeviceCmdError(command, result, text);
    return result;
}

// The number that a status text names.
enum class Named : uint8_t { kNothing, kDevice, kCode };

struct StatusText {
    const char* before;
    Named named;
    const char* after;
};

// How one device answers one command code.
struct Rule {
    int32_t (*answer)(const Rule& rule, uint32_t device, const HalDeviceCommand* command) noexcept;
    StatusText text;
    const char* refusal;
};

void writeText(const StatusText& text, uint32_t device, const HalDeviceCommand* command) noexcept {
    char* out = statuses[device]->text;
    constexpr size_t kSize = sizeof statuses[device]->text;
    if (text.named == Named::kNothing) {
        snprintf(out, kSize, "%s%s", text.before, text.after);
        return;
    }
    const uint32_t number = text.named == Named::kDevice ? device : command->code;
    snprintf(out, kSize, "%s%d%s", text.before, static_cast<int32_t>(number), text.after);
}

int32_t sendInfo(const Rule&, uint32_t device, const HalDeviceCommand* command) noexcept {
    return halUpdateDeviceInfo(&infos[device], command->reply);
}

int32_t sendStatus(uint32_t device, const HalDeviceCommand* command) noexcept {
    return halUpdateDeviceStatus(statuses[device], command->reply);
}

int32_t sendTarnStatus(const Rule&, uint32_t device, const HalDeviceCommand* command) noexcept {
    statuses[device]->timeStamp = monotime(0);
    statuses[device]->value = (device + 25) * 100;
    return sendStatus(device, command);
}

int32_t sendMouseStatus(const Rule&, uint32_t device, const HalDeviceCommand* command) noexcept {
    statuses[device]->timeStamp = 0;
    statuses[device]->value = 2700;
    return sendStatus(device, command);
}

// Stamps the mouse's record and sends the floppy's as it is: the HAL expects this crossing.
int32_t sendFloppyStatus(const Rule&, uint32_t device, const HalDeviceCommand* command) noexcept {
    statuses[kMouse]->timeStamp = monotime(0);
    statuses[kMouse]->value = 0;
    return sendStatus(device, command);
}

int32_t sayDone(const Rule& rule, uint32_t device, const HalDeviceCommand* command) noexcept {
    writeText(rule.text, device, command);
    printf("%s\n", statuses[device]->text);
    return 0;
}

int32_t sayRefused(const Rule& rule, uint32_t device, const HalDeviceCommand* command) noexcept {
    sayDone(rule, device, command);
    return refuse(command, HAL_DEVICE_UNSUPPORTED, rule.refusal);
}

int32_t refuseSilently(const Rule& rule, uint32_t device,
                       const HalDeviceCommand* command) noexcept {
    writeText(rule.text, device, command);
    return refuse(command, HAL_DEVICE_UNSUPPORTED, rule.refusal);
}

// The rules of one kind of device, for the codes from HAL_DEVICE_GET_INFO to HAL_DEVICE_RESTART.
constexpr uint32_t kRules = HAL_DEVICE_RESTART - HAL_DEVICE_GET_INFO + 1;
using Rules = Rule[kRules];

#define TARN "Tarn Status:\n\nLast Command: Tarn "
#define MOUSE "Mouse Status:\n\nLast Command: Duh! Command "
#define FLOPPY "Floppy Status:\n\nLast Command: "
// clang-format off
constexpr Rules kTarnRules = {
    {sendInfo,       {}, nullptr},
    {sendTarnStatus, {}, nullptr},
    {sayDone,        {TARN, Named::kDevice, " is enabled"}, nullptr},
    {sayDone,        {TARN, Named::kDevice, " is disabled"}, nullptr},
    {sayDone,        {TARN, Named::kDevice, " is rebooted"}, nullptr},
};
// A mouse can't be enabled, disabled or restarted, and the HAL expects it to say so in this tone.
constexpr Rules kMouseRules = {
    {sendInfo,        {}, nullptr},
    {sendMouseStatus, {}, nullptr},
    {sayRefused,      {MOUSE, Named::kCode, " is not supported"}, "Command not supported\n"},
    {sayRefused,      {MOUSE, Named::kCode, " is not supported"}, "Command not supported\n"},
    {sayRefused,      {MOUSE, Named::kCode, " is not supported"}, "Command not supported\n"},
};
// The refusal to restart is the one text that is not printed: the HAL expects that, too.
constexpr Rules kFloppyRules = {
    {sendInfo,         {}, nullptr},
    {sendFloppyStatus, {}, nullptr},
    {sayDone,          {FLOPPY, Named::kNothing, "Floppy is enabled"}, nullptr},
    {sayDone,          {FLOPPY, Named::kNothing, "Floppy is disabled"}, nullptr},
    {refuseSilently,   {FLOPPY, Named::kNothing, "Reboot floppy. Duh! Not supported"},
     "Reboot floppy not supported\n"},
};
// clang-format on
#undef TARN
#undef MOUSE
#undef FLOPPY

int32_t refuseUnknown(const HalDeviceCommand* command) noexcept {
    return refuse(command, HAL_DEVICE_INVALID, "Invalid device handle\n");
}

int32_t carryOut(const Rules& rules, uint32_t device, const HalDeviceCommand* command) noexcept {
    if (!registered) return -1;
    const uint32_t index = command->code - HAL_DEVICE_GET_INFO;
    if (index >= kRules) return refuse(command, HAL_DEVICE_INVALID, "Invalid device command\n");
    return rules[index].answer(rules[index], device, command);
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

int32_t pcSimDeviceInit() noexcept {
    halStartTimer(pollStates, 0, 0, kPollPeriodMs, 0);
    const int32_t result = pcSimRegisterDevice();
    if (result != 0)
        TRACE_DEVICE_ERROR("%s - unable to register platform devices. rc = %d", "pcSimDeviceInit",
                           result);
    return result;
}

int32_t pcSimRegisterDevice() noexcept {
    if (!allocateOnce(registration)) {
        TRACE_DEVICE_ERROR("%s - unable to calloc", "pcSimRegisterDevice");
        return -1;
    }
    for (int32_t i = 0; i < HAL_DEVICES_REGISTERED; ++i)
        if (!allocateOnce(statuses[kDevices[i].number])) return -2 - i;

    registration->size = sizeof *registration;
    registration->deviceCount = HAL_DEVICES_REGISTERED;
    for (int32_t i = 0; i < HAL_DEVICES_REGISTERED; ++i) {
        const Device& device = kDevices[i];
        fillEntry(device, &registration->devices[i]);
        fillInfo(device, &infos[device.number]);
        fillStatus(device, statuses[device.number]);
    }
    registered = true;
    halRegisterDevice(registration);
    return 0;
}

HalDeviceCapability* pcSimGetDeviceCapability(const char* typeName) noexcept {
    auto* capability = static_cast<HalDeviceCapability*>(malloc(sizeof(HalDeviceCapability)));
    if (capability == nullptr) return nullptr;
    capability->size = sizeof *capability;
    // The HAL expects a name of 32 characters to fill the field, without a NUL. The word behind it
    // is the HAL's to fill.
    const size_t length = strnlen(typeName, sizeof capability->typeName);
    memcpy(capability->typeName, typeName, length);
    memset(capability->typeName + length, 0, sizeof capability->typeName - length);
    capability->bits = 0;
    for (const Capability& known : kCapabilities)
        if (strcmp(typeName, known.typeName) == 0) capability->bits = known.bits;
    return capability;
}

int32_t pcSimDeviceCommand(const HalDeviceCommand* command) noexcept {
    if (command->code == HAL_DEVICE_REGISTER) {
        if (!registered) return pcSimRegisterDevice();
        halRegisterDevice(registration);
        return 0;
    }
    if (!registered) return -1;
    switch (command->device) {
        case kTarn0:
        case kTarn1:
            return pcSimTarnCmd(command->device, command);
        case kMouse:
            return pcSimMouseCmd(command);
        case kFloppy:
            return pcSimFloppyCmd(command);
        default:
            return refuseUnknown(command);
    }
}

int32_t pcSimTarnCmd(uint32_t deviceNumber, const HalDeviceCommand* command) noexcept {
    if (registered && deviceNumber > kTarn1) return refuseUnknown(command);
    return carryOut(kTarnRules, deviceNumber, command);
}

int32_t pcSimMouseCmd(const HalDeviceCommand* command) noexcept {
    return carryOut(kMouseRules, kMouse, command);
}

int32_t pcSimFloppyCmd(const HalDeviceCommand* command) noexcept {
    return carryOut(kFloppyRules, kFloppy, command);
}

int32_t pcSimDeviceCLIHook(const HalDeviceCli* cli) noexcept {
    const uint32_t* arguments = cli->arguments;
    if (strcasecmp(cli->keyword, "state") == 0) {
        printf("Setting dev %x state %x\n", arguments[0], arguments[1]);
        if (arguments[0] >= HAL_DEVICE_NUMBERS) return -1;
        pcSimDeviceState[arguments[0]] = arguments[1];
        return 0;
    }
    const HalDeviceCommand command = {
        .code = arguments[0], .device = arguments[1], .reply = arguments[2]};
    printf("Dev: %x Execute cmdCode %x arg %x\n", command.device, command.code, command.reply);
    return pcSimDeviceCommand(&command);
}
