// What two PHYs on one cable agree upon, as IEEE 802.3 has it for 10 and 100 Mbit/s over twisted
// pairs (clause 28).
#ifndef PCSIM_MII_NEGOTIATION_H
#define PCSIM_MII_NEGOTIATION_H

#include <linux/mii.h>

#include <cstdint>

namespace pcsim::mii {

// 10 and 100 Mbit/s, half and full duplex.
inline constexpr uint16_t kAbilities =
    ADVERTISE_10HALF | ADVERTISE_10FULL | ADVERTISE_100HALF | ADVERTISE_100FULL;

// What a PHY is told and remembers: its registers 0 and 4.
struct Phy {
    uint16_t control = BMCR_ANENABLE | BMCR_SPEED100 | BMCR_FULLDPLX;
    uint16_t advertisement = ADVERTISE_CSMA | kAbilities | ADVERTISE_PAUSE_CAP;

    constexpr bool negotiates() const { return (control & BMCR_ANENABLE) != 0; }
};

// What one end learns.
struct Agreement {
    bool link;
    uint16_t partner;        // register 5
    bool partnerNegotiates;  // bit 0 of register 6
};

// The ability that a PHY has which is told its speed, as a partner hears it that negotiates: by its
// idle signal, which tells the speed but not the duplex, so that half duplex is assumed.
constexpr uint16_t heardOf(Phy forced) {
    return (forced.control & BMCR_SPEED100) != 0 ? ADVERTISE_100HALF : ADVERTISE_10HALF;
}

// What the PHY 'own' learns from 'partner' over a cable that carries the abilities 'carried'. Both
// are as they were when they last began to negotiate.
constexpr Agreement agree(Phy own, Phy partner, uint16_t carried = kAbilities) {
    const auto offered = [carried](Phy phy) {
        return static_cast<uint16_t>(phy.advertisement & carried);
    };
    if (own.negotiates() && partner.negotiates()) {
        const auto told =
            static_cast<uint16_t>(LPA_LPACK | (partner.advertisement & ~(kAbilities & ~carried)));
        return {(offered(own) & partner.advertisement & kAbilities) != 0, told, true};
    }
    if (own.negotiates()) {
        const uint16_t heard = heardOf(partner);
        return {(offered(own) & heard) != 0, heard, false};
    }
    if (partner.negotiates()) return {(offered(partner) & heardOf(own)) != 0, 0, false};
    const uint16_t speed = heardOf(own);
    const bool carries = (carried & (speed | speed << 1)) != 0;
    return {carries && speed == heardOf(partner), 0, false};
}

}  // namespace pcsim::mii

#endif
