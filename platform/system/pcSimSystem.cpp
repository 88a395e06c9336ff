// Entry, initialisation, own slot, interface count and the poll of the management port's link.
#include "platform/system/pcSimSystem.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "platform/base/trace.h"
#include "platform/device/pcSimDevice.h"
#include "platform/mcast/pcSimIPv4McDb.h"
#include "platform/port/pcSimPort.h"

uint32_t pcSimSystemNumPorts = 0;

namespace pcsim {
namespace {

constexpr uint32_t kInterfaceLimit = 100;
constexpr uint32_t kMgmtLinkPollPeriodMs = 1000;

// Own slot where the environment names none; a chassis has kChassisOwnSlot.
constexpr int32_t kStackOwnSlot = 1;

int32_t pcSimIsChassis;
int32_t pcSimMgmtLinkUp;  // as last reported; one flag for the whole library

// Nothing is checked between the steps: a platform without interfaces or devices still starts.
// The shape comes first, the own slot depends on it.
int32_t initialise(bool chassis, HalSystemOps* table) noexcept {
    pcSimIsChassis = chassis ? 1 : 0;
    pcSimSystemNumPorts = pcSimGetSystemNumberPorts();
    static_cast<void>(halStartTimer(pcSimMgmtLinkPoll, static_cast<uint32_t>(pcSimGetMySlotNum()),
                                    0, kMgmtLinkPollPeriodMs, 0));
    static_cast<void>(pcSimDeviceInit());
    static_cast<void>(pcSimHalIPv4McDbInit());
    return chassis ? pcSimChassisSystemDBSetup(table) : pcSimStackSystemDBSetup(table);
}

// Whether the PC has the interface "eth<number>".
bool interfaceExists(int socketFd, uint32_t number) noexcept {
    ifreq request{};
    snprintf(request.ifr_name, sizeof request.ifr_name, "eth%u", number);
    return ioctl(socketFd, SIOCGIFHWADDR, &request) >= 0;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t platformSystemInit(HalSystemOps* table) noexcept {
    return dmGetPlatformType() == HAL_PLATFORM_CHASSIS ? pcSimChassisSystemInit(table)
                                                       : pcSimStackSystemInit(table);
}

int32_t pcSimStackSystemInit(HalSystemOps* table) noexcept {
    return initialise(false, table);
}

int32_t pcSimChassisSystemInit(HalSystemOps* table) noexcept {
    return initialise(true, table);
}

// The count starts at eth1, since eth0 is the management port's, and ends at the first gap.
uint32_t pcSimGetSystemNumberPorts() noexcept {
    const int socketFd = socket(AF_INET, SOCK_DGRAM, 0);
    if (socketFd < 0) {
        TRACE_SYSTEM_ERROR("Unable to create a socket");
        return 0;
    }
    uint32_t count = 0;
    while (count < kInterfaceLimit && interfaceExists(socketFd, count + 1)) ++count;
    close(socketFd);
    return count;
}

// The environment's value counts as it is: a text that is no number is slot 0.
int32_t pcSimGetMySlotNum() noexcept {
    const char* slotId = getenv("VORN_SLOT_ID");
    if (slotId != nullptr) return static_cast<int32_t>(strtol(slotId, nullptr, 10));
    return pcSimIsChassis != 0 ? kChassisOwnSlot : kStackOwnSlot;
}

void pcSimMgmtLinkPoll(uint32_t slot) noexcept {
    const uint32_t portNumber = getMgmtPort(slot) != 0 ? 1 : 0;
    if (halIsCardOperational(slot) == 0) return;

    const uint32_t portInstance = slot << 16 | HAL_PORT_TYPE_MANAGEMENT << 24 | portNumber;
    uint32_t link = 0, duplex = 0, speed = 0, flowControl = 0, extra = 0;
    if (pcSimCardPortLinkInfo(portInstance, &link, &duplex, &speed, &flowControl, &extra) != 0)
        return;
    const int32_t linkUp = link != 0 ? 1 : 0;
    if (linkUp == pcSimMgmtLinkUp) return;  // the HAL hears changes alone
    static_cast<void>(
        halNotifyLinkStateChange(portInstance, link, duplex, speed, flowControl, 0, 0));
    pcSimMgmtLinkUp = linkUp;
}
}
