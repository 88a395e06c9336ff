// Configuration and state of ports.
#include "platform/port/pcSimPort.h"

#include <linux/mii.h>
#include <stdio.h>
#include <string.h>

#include "platform/base/trace.h"
#include "platform/port/mii.h"

using pcsim::portNumberOf;
using pcsim::portRow;
using pcsim::portSlotOf;
using pcsim::portTypeOf;

extern "C" {
PCSIM_EXPORT uint8_t portInfo[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
PCSIM_EXPORT int32_t skfd = -1;
}

namespace {

constexpr uint32_t kForwardingState = 3;
constexpr uint32_t kPrimaryMediaType = 4;
constexpr uint32_t kRedundantMediaType = 0;
constexpr uint32_t kForwardingStateDelayMs = 50;

// The one completion callback of forwarding states: the first that the HAL gives, for ever.
HalCompletionFn* setvpstCallback;

const char* enabling(uint32_t enable) noexcept {
    return enable != 0 ? "Enabling" : "Disabling";
}
const char* duplexText(uint32_t full) noexcept {
    return full != 0 ? "full" : "half";
}

// The text of a speed code, 'otherwise' for an unknown one.
const char* speedText(uint32_t speed, const char* otherwise) noexcept {
    switch (speed) {
        case HAL_PORT_SPEED_10:
            return "10 Mbps";
        case HAL_PORT_SPEED_100:
            return "100 Mbps";
        case HAL_PORT_SPEED_1000:
            return "1000 Mbps";
        case HAL_PORT_SPEED_10000:
            return "10000 Mbps";
        default:
            return otherwise;
    }
}

// A port as traces print it.
int slotNumber(uint32_t portInstance) noexcept {
    return static_cast<int>(portSlotOf(portInstance));
}
int portNumber(uint32_t portInstance) noexcept {
    return static_cast<int>(portNumberOf(portInstance));
}

pcsim::Mii phyOf(uint32_t portInstance) noexcept {
    return pcsim::Mii(halGetHwPortMapping(portSlotOf(portInstance), portNumberOf(portInstance)));
}

}  // namespace

extern "C" {

// --- State ---------------------------------------------------------------------------------------

int32_t pcSimPortInit(uint32_t slot) noexcept {
    // Port 0 stands for the slot and keeps its byte.
    if (uint8_t* first = portRow(portInfo, slot, 1)) memset(first, 0, PCSIM_PORTS_PER_SLOT - 1);
    return 0;
}

int32_t pcSimIsPortDisabled(uint32_t portInstance) noexcept {
    const uint8_t* state = portRow(portInfo, portSlotOf(portInstance), portNumberOf(portInstance));
    return state != nullptr ? *state & PCSIM_PORT_DISABLED : 0;
}

int32_t pcSimCardDeferUpdatePortStart(uint32_t slot, uint32_t syncNumber) noexcept {
    TRACE_PORT("Start slot %d port sync %d", static_cast<int>(slot), static_cast<int>(syncNumber));
    return 0;
}

int32_t pcSimCardDeferUpdatePortEnd(uint32_t slot, uint32_t syncNumber) noexcept {
    TRACE_PORT("End slot %d port sync %d", static_cast<int>(slot), static_cast<int>(syncNumber));
    return 0;
}

int32_t pcSimCardPortEnable(uint32_t portInstance, uint32_t enable) noexcept {
    TRACE_PORT("%s port %s.", enabling(enable), halPortInstName(portInstance));
    if (portTypeOf(portInstance) != HAL_PORT_TYPE_FRONT_PANEL) return 0;
    uint8_t* state = portRow(portInfo, portSlotOf(portInstance), portNumberOf(portInstance));
    if (state == nullptr) return -1;
    // The state is what the HAL asked for, however the PHY takes it.
    if (enable != 0) {
        *state &= static_cast<uint8_t>(~PCSIM_PORT_DISABLED);
        static_cast<void>(pcSimCardPortRestart(portInstance));
    } else {
        *state |= PCSIM_PORT_DISABLED;
        static_cast<void>(pcSimCardPortShutDown(portInstance));
    }
    return 0;
}

// --- Configuration -------------------------------------------------------------------------------

int32_t pcSimCardPortEnableJumbo(uint32_t portInstance, uint32_t enable,
                                 uint32_t frameSize) noexcept {
    TRACE_PORT("%s Jumbo frame support on port %s size %d", enabling(enable),
               halPortInstName(portInstance), static_cast<int>(frameSize));
    return 0;
}

int32_t pcSimCardPortConfigAutoNeg(uint32_t portInstance, const HalPortAutoNeg* config) noexcept {
    TRACE_PORT("Configuring port %s auto %s ", halPortInstName(portInstance),
               config->on != 0 ? "on" : "off");
    // The wish goes to the console alone; lines are ended by whoever prints next.
    if (config->on == 0) {
        printf("duplex %s, speed ", duplexText(config->fullDuplex));
        printf("%s", speedText(config->speed, "Invalid speed"));
        return 0;
    }
    if (config->duplexGiven != 0) printf("duplex %s ", duplexText(config->fullDuplex));
    if (config->speedGiven != 0)
        printf("speed %s", speedText(config->speed, "No speed configured"));
    return 0;
}

int32_t pcSimCardPortSetRouterAddress(uint32_t portInstance, const uint8_t* mac) noexcept {
    printf("Setting port %s with router address ", halPortInstName(portInstance));
    for (int i = 0; i < 6; ++i) printf("%x", mac[i]);
    return 0;
}

int32_t pcSimCardPortEnableRcv(uint32_t portInstance, uint32_t enable) noexcept {
    TRACE_PORT("%s receiver for %s.", enable != 0 ? "Enable" : "Disable",
               halPortInstName(portInstance));
    return 0;
}

int32_t pcSimCardPortSetLinkLED(uint32_t portInstance, uint32_t color) noexcept {
    TRACE_PORT("port %s LED set to color %x.", halPortInstName(portInstance), color);
    return 0;
}

int32_t pcSimCardPortSyncSetMirroredState(uint32_t portInstance) noexcept {
    TRACE_PORT("set mirror state for %s.", halPortInstName(portInstance));
    return 0;
}

int32_t pcSimCardPortGetIntStatus() noexcept {
    return 1;
}

int32_t pcSimCardPortConfigVlanStat(uint32_t portInstance, uint32_t vlanId) noexcept {
    TRACE_PORT("port %s set to gather vlan stats for vlan ID %d.", halPortInstName(portInstance),
               static_cast<int>(vlanId));
    return 0;
}

int32_t pcSimCardPortConfigIPG(uint32_t portInstance, uint32_t gap) noexcept {
    TRACE_PORT("port %s configured to new ipg of %d", halPortInstName(portInstance),
               static_cast<int>(gap));
    return 0;
}

int32_t pcSimCardPortGetMediaType(uint32_t portInstance, HalPortMediaType* media) noexcept {
    if (pcsim::isLogicalPort(portInstance)) return -1;
    // The traces show what the HAL's record held, before it is overwritten.
    TRACE_PORT("PCSimCardGetMediaType: Primary Media type = %d", static_cast<int>(media->primary));
    TRACE_PORT("PCSimCardGetMediaType: Redundant Media type = %d",
               static_cast<int>(media->redundant));
    media->primary = kPrimaryMediaType;
    media->redundant = kRedundantMediaType;
    return 0;
}

// --- Link ----------------------------------------------------------------------------------------

int32_t pcSimCardPortRestart(uint32_t portInstance) noexcept {
    TRACE_PORT("Restarting port %d:%d.", slotNumber(portInstance), portNumber(portInstance));
    if (!pcsim::openPortSocket()) {
        printf("%s ioctl failed", __func__);
        return -1;
    }
    pcsim::Mii phy = phyOf(portInstance);
    return phy.find() && phy.write(MII_BMCR, BMCR_RESET) ? 0 : -1;
}

// The only one without a trace or a message.
int32_t pcSimCardPortShutDown(uint32_t portInstance) noexcept {
    if (!pcsim::openPortSocket()) return -1;
    pcsim::Mii phy = phyOf(portInstance);
    if (!phy.find()) return -1;
    // With nothing but the selector field advertised, no partner can bring the link up.
    if (!phy.write(MII_ADVERTISE, ADVERTISE_CSMA)) return -1;
    return phy.write(MII_BMCR, BMCR_ANENABLE | BMCR_ANRESTART) ? 0 : -1;
}

int32_t pcSimCardPortLinkChange(uint32_t portInstance, uint32_t state) noexcept {
    if (portTypeOf(portInstance) != HAL_PORT_TYPE_FRONT_PANEL) return 0;
    // These two messages alone count slots and ports from 0, and carry names of their own.
    const int slot = slotNumber(portInstance) - 1;
    const int number = portNumber(portInstance) - 1;
    if (state == 1)
        TRACE_PORT_AS("pcSimExtPortLinkUp", "Link up processing for port %d:%d.", slot, number);
    else if (state == 0)
        TRACE_PORT_AS("pcSimExtPortLinkDown", "Link down processing for port %d:%d.", slot, number);
    return 0;
}

// --- Forwarding state ----------------------------------------------------------------------------

int32_t pcSimCardPortSetForwardingState(uint32_t portInstance, uint32_t group, uint32_t, uint32_t,
                                        uint32_t, HalCompletionFn* callback, uint32_t argument1,
                                        uint32_t argument2) noexcept {
    TRACE_PORT("set fwd state for %s-%d.", halPortInstName(portInstance), static_cast<int>(group));
    if (callback == nullptr) return 0;
    if (setvpstCallback == nullptr)
        setvpstCallback = callback;
    else if (setvpstCallback != callback)
        printf("%s - Not support different callback for setvpst\n", __func__);
    static_cast<void>(halScheduleTask(pcSimSetVpstCallback, argument1, argument2,
                                      kForwardingStateDelayMs, "pcSimSetVpstCallback"));
    return 1;
}

int32_t pcSimSetVpstCallback(uint32_t argument1, uint32_t argument2) noexcept {
    return setvpstCallback != nullptr ? setvpstCallback(argument1, argument2, 0, 0) : 0;
}

int32_t pcSimCardPortGetForwardingState(uint32_t portInstance, uint32_t, uint32_t* state) noexcept {
    TRACE_PORT("get fwd state for %s.", halPortInstName(portInstance));
    *state = kForwardingState;
    return 0;
}

int32_t pcSimCardPortSyncSetForwardingState(uint32_t portInstance) noexcept {
    TRACE_PORT("sync fwd state for %s.", halPortInstName(portInstance));
    return 0;
}

// --- Accepted and ignored ------------------------------------------------------------------------

PCSIM_PORT_STUBS(PCSIM_DEFINE_STUB)
}
