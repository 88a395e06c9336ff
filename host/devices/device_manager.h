// The device manager: the small platform devices that register themselves with the host.
//
// They come with one registration record, while the platform initialises. Afterwards the manager
// asks each for its information and status, sends it commands, and hears of changes of state from
// the platform's own poll. What a device answers arrives through the host functions, before the
// command returns; a reply handle tells an answer from a report of the poll.
#ifndef PCSIM_HOST_DEVICES_DEVICE_MANAGER_H
#define PCSIM_HOST_DEVICES_DEVICE_MANAGER_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/core/context.h"
#include "pcsim/device.h"

namespace pcsim::host {

struct Device {
    uint32_t number = 0;
    std::string typeName;
    std::string label;
    // The platform's own records, read in place; null until it has handed them over.
    const HalDeviceInfo* info = nullptr;
    const HalDeviceStatus* status = nullptr;
    uint64_t reports = 0;  // of the state poll
    uint32_t stateAtBoot = 0;
    std::string lastCommand;
    std::optional<int32_t> lastResult;

    // "mouse usb", or its own name once it has told it.
    std::string name() const;
};

// What came of a command.
struct DeviceAnswer {
    int32_t result = 0;
    std::string text;  // of the error, or of the status
};

class DeviceManager : public Manager {
public:
    explicit DeviceManager(Context& context);
    ~DeviceManager() override;

    void boot() override;
    void running(Lines& lines) override;

    const std::map<uint32_t, Device>& devices() const { return devices_; }
    // A CommandError that says which devices there are when there is no such one.
    Device& device(const std::string& word);

    // Sends a command (HAL_DEVICE_...).
    DeviceAnswer command(Device& device, uint32_t code);
    // Sets the state that the next poll reports, through the command line of module control.
    static constexpr uint32_t kStates = 8;
    void setState(const Device& device, uint32_t state);

    // The capability bits of a device type; nothing when there was no memory for the record.
    std::optional<uint32_t> capability(const Device& device);

    static const char* commandName(uint32_t code);

private:
    void registered(const HalDeviceRegistration& registration);
    void informed(const HalDeviceInfo& info, uint32_t reply);
    void statusCame(const HalDeviceStatus& status, uint32_t reply);
    void commandFailed(const HalDeviceCommand& command, int32_t errorCode, const char* text);

    Context& context_;
    std::map<uint32_t, Device> devices_;
    uint32_t lastReply_ = 0;
    std::string error_;  // text of the error that the running command met
};

}  // namespace pcsim::host

#endif
