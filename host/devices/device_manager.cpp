// Registration, answers, reports and commands of devices.
#include "host/devices/device_manager.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "console/text.h"
#include "host/core/lines.h"

namespace pcsim::host {

namespace {

// The platform's error texts end with a line end.
std::string trimmed(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

}  // namespace

std::string Device::name() const {
    return info != nullptr ? textOf(info->part.description) : fmt::format("{} {}", typeName, label);
}

// The devices register while the platform is loaded, before anything boots.
DeviceManager::DeviceManager(Context& context) : context_(context) {
    context_.listeners.deviceRegistered = [this](HalDeviceRegistration& record) {
        registered(record);
    };
    context_.listeners.deviceInfo = [this](HalDeviceInfo& info, uint32_t reply) {
        informed(info, reply);
    };
    context_.listeners.deviceStatus = [this](HalDeviceStatus& status, uint32_t reply) {
        statusCame(status, reply);
    };
    context_.listeners.deviceError = [this](const HalDeviceCommand& command, int32_t code,
                                            const char* text) {
        commandFailed(command, code, text);
    };
}

DeviceManager::~DeviceManager() {
    context_.listeners.deviceRegistered = nullptr;
    context_.listeners.deviceInfo = nullptr;
    context_.listeners.deviceStatus = nullptr;
    context_.listeners.deviceError = nullptr;
}

void DeviceManager::boot() {
    for (auto& [number, device] : devices_) {
        if (number < HAL_DEVICE_NUMBERS) device.stateAtBoot = context_.platform.deviceState(number);
        command(device, HAL_DEVICE_GET_INFO);
        command(device, HAL_DEVICE_GET_STATUS);
    }
}

void DeviceManager::running(Lines& lines) {
    for (const auto& [number, device] : devices_) {
        if (number >= HAL_DEVICE_NUMBERS) continue;
        const uint32_t state = context_.platform.deviceState(number);
        if (state != device.stateAtBoot)
            lines.replace(fmt::format("device {} state {}", number, state),
                          fmt::format("device {} state {}", number, device.stateAtBoot));
    }
}

Device& DeviceManager::device(const std::string& word) {
    std::string list;
    for (auto& [number, device] : devices_) {
        if (word == std::to_string(number)) return device;
        list += fmt::format("{}{} ({} {})", list.empty() ? "" : ", ", number, device.typeName,
                            device.label);
    }
    fail("device {} does not exist; devices are {}", word, list.empty() ? "none" : list);
}

// A record may come again; what is known of its devices stays.
void DeviceManager::registered(const HalDeviceRegistration& registration) {
    std::string list;
    const uint32_t room = HAL_DEVICES_REGISTERED;
    for (uint32_t i = 0; i < std::min(registration.deviceCount, room); ++i) {
        const HalDeviceEntry& entry = registration.devices[i];
        Device& device = devices_[entry.device];
        device.number = entry.device;
        device.typeName = textOf(entry.typeName);
        device.label = textOf(entry.label);
        list += fmt::format("{}{}", list.empty() ? "" : ", ", device.number);
    }
    context_.events.note("device", "{} devices registered: {}", registration.deviceCount, list);
}

void DeviceManager::informed(const HalDeviceInfo& info, uint32_t reply) {
    context_.platform.drainPrints();
    const auto found = devices_.find(info.device);
    if (found == devices_.end()) {
        context_.events.note("device", "Information of unknown device {} ignored", info.device);
        return;
    }
    Device& device = found->second;
    device.info = &info;
    if (reply != 0) return;
    ++device.reports;
    context_.events.note("device", "Device {} ({}) reports state {}", device.number, device.name(),
                         info.reportedState);
}

void DeviceManager::statusCame(const HalDeviceStatus& status, uint32_t) {
    const auto found = devices_.find(status.device);
    if (found == devices_.end())
        context_.events.note("device", "Status of unknown device {} ignored", status.device);
    else
        found->second.status = &status;
}

void DeviceManager::commandFailed(const HalDeviceCommand& command, int32_t errorCode,
                                  const char* text) {
    context_.platform.drainPrints();  // what the device said before
    error_ = trimmed(text);
    context_.events.note("device", "Device {} refused {}: {} ({})", command.device,
                         commandName(command.code), error_, errorCode);
}

const char* DeviceManager::commandName(uint32_t code) {
    switch (code) {
        case HAL_DEVICE_REGISTER:
            return "register";
        case HAL_DEVICE_GET_INFO:
            return "info";
        case HAL_DEVICE_GET_STATUS:
            return "status";
        case HAL_DEVICE_ENABLE:
            return "enable";
        case HAL_DEVICE_DISABLE:
            return "disable";
        case HAL_DEVICE_RESTART:
            return "restart";
        default:
            return "unknown command";
    }
}

DeviceAnswer DeviceManager::command(Device& device, uint32_t code) {
    if (++lastReply_ == 0) ++lastReply_;  // 0 is the poll's
    error_.clear();
    const HalDeviceCommand request{code, device.number, lastReply_};
    Platform& platform = context_.platform;
    const int32_t result = platform.call(platform.system, &HalSystemOps::deviceCommand, &request);
    device.lastCommand = commandName(code);
    device.lastResult = result;
    if (result != 0 && error_.empty()) {
        error_ = fmt::format("the platform answered {}", result);
        context_.events.note("device", "Device {} {}: {}", device.number, commandName(code),
                             error_);
    }
    return {result, error_};
}

void DeviceManager::setState(const Device& device, uint32_t state) {
    if (state >= kStates)
        fail("state {} is out of range; device states are 0 to {}", state, kStates - 1);
    HalDeviceCli line{};
    std::strcpy(line.keyword, "state");
    line.arguments[0] = device.number;
    line.arguments[1] = state;
    Platform& platform = context_.platform;
    const int32_t result = platform.call(platform.system, &HalSystemOps::moduleIoctl, 0u,
                                         HAL_MODULE_DEVICE_COMMAND, &line);
    if (result != 0) fail("device {}: the platform answered {}", device.number, result);
}

std::optional<uint32_t> DeviceManager::capability(const Device& device) {
    Platform& platform = context_.platform;
    const std::unique_ptr<HalDeviceCapability, decltype(&std::free)> record(
        platform.call(platform.system, &HalSystemOps::getDeviceCapability, device.typeName.c_str()),
        &std::free);
    if (record == nullptr) return std::nullopt;
    return record->bits;
}

}  // namespace pcsim::host
