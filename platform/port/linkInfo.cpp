// The link query: what the PHY of a port's interface has negotiated.
#include <linux/mii.h>
#include <stdio.h>

#include "platform/port/hostInterfaces.h"
#include "platform/port/mii.h"
#include "platform/port/pcSimPort.h"

namespace {

// Abilities that both ends have, best first: the first that matches is in force. Gigabit abilities
// lie in other registers and are not looked at.
struct Ability {
    uint16_t bit;
    uint8_t duplex;
    uint8_t speed;
};
const Ability kAbilities[] = {
    {LPA_100FULL, 1, HAL_PORT_SPEED_100},
    {LPA_100HALF, 0, HAL_PORT_SPEED_100},
    {LPA_10FULL, 1, HAL_PORT_SPEED_10},
    {LPA_10HALF, 0, HAL_PORT_SPEED_10},
};

// What the HAL takes for "pause in both directions".
constexpr uint32_t kFlowControlBoth = 3;

// Which interface a port has.
enum class Backing : uint8_t { kInterface, kDisabled, kAbsent, kNone };

Backing backingOf(uint32_t portInstance, uint32_t& interfaceNumber) noexcept {
    switch (pcsim::portTypeOf(portInstance)) {
        case HAL_PORT_TYPE_FRONT_PANEL:
            interfaceNumber = halGetHwPortMapping(pcsim::portSlotOf(portInstance),
                                                  pcsim::portNumberOf(portInstance));
            if (pcSimIsPortDisabled(portInstance) != 0) return Backing::kDisabled;
            // The host counts from eth1, so the number that equals the count is the last interface.
            return interfaceNumber > pcSimSystemNumPorts ? Backing::kAbsent : Backing::kInterface;
        case HAL_PORT_TYPE_MANAGEMENT:
            interfaceNumber = 0;
            return Backing::kInterface;
        default:
            return Backing::kNone;
    }
}

}  // namespace

extern "C" int32_t pcSimCardPortLinkInfo(uint32_t portInstance, uint32_t* link, uint32_t* duplex,
                                         uint32_t* speed, uint32_t* flowControl,
                                         uint32_t* extra) noexcept {
    *link = 0;
    if (!pcsim::openPortSocket()) {
        printf("%s ioctl failed", __func__);
        return -1;
    }
    *extra = 0;

    const auto reportDown = [=] {
        *flowControl = 0;
        *duplex = 0;
        *speed = 0;
        return 0;
    };
    uint32_t interfaceNumber = 0;
    switch (backingOf(portInstance, interfaceNumber)) {
        case Backing::kInterface:
            break;
        case Backing::kDisabled:
            return 0;  // the HAL keeps the last speed and duplex of a port that it has disabled
        case Backing::kAbsent:
            return reportDown();
        case Backing::kNone:
            return -1;
    }

    pcsim::Mii phy(interfaceNumber);
    uint16_t status;
    if (!phy.find() || !phy.read(MII_BMSR, status)) return -1;
    if ((status & BMSR_LSTATUS) == 0) return reportDown();

    *link = 1;
    uint16_t advertised;
    uint16_t partner;
    if (!phy.read(MII_ADVERTISE, advertised) || !phy.read(MII_LPA, partner)) return -1;
    const uint32_t common = advertised & partner;
    for (const Ability& ability : kAbilities) {
        if ((common & ability.bit) == 0) continue;
        *duplex = ability.duplex;
        *speed = ability.speed;
        const bool pause = (common & LPA_PAUSE_CAP) != 0 && ability.duplex == 1;
        *flowControl = pause ? kFlowControlBoth : 0;
        return 0;
    }
    printf("Capabilities cannot be negotiated on port %d\n",
           static_cast<int>(pcsim::portNumberOf(portInstance)));
    return -1;
}
