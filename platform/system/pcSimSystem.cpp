// Entry, initialisation and the poll of the management port's link.
#include "platform/system/pcSimSystem.h"

#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "platform/base/ownSlot.h"
#include "platform/device/pcSimDevice.h"
#include "platform/mcast/pcSimIPv4McDb.h"
#include "platform/port/hostInterfaces.h"
#include "platform/port/pcSimPort.h"

namespace pcsim {
namespace {

constexpr uint32_t kMgmtLinkPollPeriodMs = 1000;

int32_t pcSimMgmtLinkUp;  // as last reported; one flag for the whole library

// Nothing is checked between the steps: a platform without interfaces or devices still starts.
// The shape comes first, the own slot depends on it.
int32_t initialise(bool chassis, HalSystemOps* table) noexcept {
    setShape(chassis);
    pcSimSystemNumPorts = pcSimGetSystemNumberPorts();
    static_cast<void>(halStartTimer(pcSimMgmtLinkPoll, static_cast<uint32_t>(pcSimGetMySlotNum()),
                                    0, kMgmtLinkPollPeriodMs, 0));
    static_cast<void>(pcSimDeviceInit());
    static_cast<void>(pcSimHalIPv4McDbInit());
    return chassis ? pcSimChassisSystemDBSetup(table) : pcSimStackSystemDBSetup(table);
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
