// Host functions of devices and replies. What arrives is handed to whoever listens.
#include "host/machine/machine.h"
#include "pcsim/host.h"

namespace {

const pcsim::host::Listeners& listeners() {
    return pcsim::host::Machine::current().context.listeners;
}

}  // namespace

extern "C" {

uint32_t poeHandle = 1;

int32_t halRegisterDevice(HalDeviceRegistration* registration) {
    if (listeners().deviceRegistered) listeners().deviceRegistered(*registration);
    return 0;
}

int32_t halUpdateDeviceInfo(HalDeviceInfo* info, uint32_t reply) {
    if (listeners().deviceInfo) listeners().deviceInfo(*info, reply);
    return 0;
}

int32_t halUpdateDeviceStatus(HalDeviceStatus* status, uint32_t reply) {
    if (listeners().deviceStatus) listeners().deviceStatus(*status, reply);
    return 0;
}

int32_t halDeviceCmdError(const HalDeviceCommand* command, int32_t errorCode, const char* text) {
    if (listeners().deviceError) listeners().deviceError(*command, errorCode, text);
    return 0;
}

int32_t replyHandleSend(uint32_t handle, uint32_t messageId, const void* message, uint32_t length,
                        int32_t) {
    const auto* bytes = static_cast<const uint8_t*>(message);
    if (listeners().reply) listeners().reply(handle, messageId, {bytes, bytes + length});
    return 0;
}
}
