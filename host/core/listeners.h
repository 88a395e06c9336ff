// Who hears of what the platform hands to the host's device and reply functions. Managers set
// these when they are made; the platform calls during initialisation, commands and polls.
#ifndef PCSIM_HOST_CORE_LISTENERS_H
#define PCSIM_HOST_CORE_LISTENERS_H

#include <cstdint>
#include <functional>
#include <vector>

struct HalDeviceRegistration;
struct HalDeviceInfo;
struct HalDeviceStatus;
struct HalDeviceCommand;

namespace pcsim::host {

struct Listeners {
    std::function<void(HalDeviceRegistration&)> deviceRegistered;
    std::function<void(HalDeviceInfo&, uint32_t reply)> deviceInfo;
    std::function<void(HalDeviceStatus&, uint32_t reply)> deviceStatus;
    std::function<void(const HalDeviceCommand&, int32_t errorCode, const char* text)> deviceError;
    std::function<void(uint32_t handle, uint32_t messageId, const std::vector<uint8_t>& message)>
        reply;
};

}  // namespace pcsim::host

#endif
