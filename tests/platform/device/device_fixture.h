// What the device tests share: registered devices and their records, by device number.
#ifndef PCSIM_TESTS_DEVICE_DEVICE_FIXTURE_H
#define PCSIM_TESTS_DEVICE_DEVICE_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/device/pcSimDevice.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

constexpr uint32_t kNow = 0x5F5E1234;

using Lines = std::vector<std::string>;

class DeviceTest : public testing::Test {
protected:
    void SetUp() override {
        host().attachComponents();
        libc().now = kNow;
    }

    // The host calls since the last look.
    static Lines calls() {
        Lines lines;
        lines.swap(host().calls);
        return lines;
    }

    static void registerDevices() {
        ASSERT_EQ(pcSimRegisterDevice(), 0);
        host().calls.clear();
    }

    static int32_t send(uint32_t code, uint32_t device, uint32_t reply = 0) {
        const HalDeviceCommand command = {.code = code, .device = device, .reply = reply};
        return pcSimDeviceCommand(&command);
    }

    // The records that the library answers with; asking for the floppy's status stamps the mouse's.
    static HalDeviceInfo* info(uint32_t device) {
        send(HAL_DEVICE_GET_INFO, device);
        host().calls.clear();
        return host().deviceInfos.back();
    }
    static HalDeviceStatus* status(uint32_t device) {
        send(HAL_DEVICE_GET_STATUS, device);
        host().calls.clear();
        return host().deviceStatuses.back();
    }
};

}  // namespace pcsim::test

#endif
