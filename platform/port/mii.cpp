// The MII requests.
#include "platform/port/mii.h"

#include <linux/mii.h>
#include <linux/sockios.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/port/pcSimPort.h"

namespace pcsim {

namespace {

// Sends one request; 'block' goes with it and comes back as the interface left it.
bool exchange(unsigned long code, ifreq& request, mii_ioctl_data& block) noexcept {
    static_assert(sizeof block <= sizeof request.ifr_ifru);
    memcpy(&request.ifr_ifru, &block, sizeof block);
    if (ioctl(__atomic_load_n(&skfd, __ATOMIC_ACQUIRE), code, &request) < 0) return false;
    memcpy(&block, &request.ifr_ifru, sizeof block);
    return true;
}

}  // namespace

bool openPortSocket() noexcept {
    int32_t known = __atomic_load_n(&skfd, __ATOMIC_ACQUIRE);
    if (known >= 0) return true;
    const int opened = socket(AF_INET, SOCK_DGRAM, 0);
    if (opened < 0) return false;
    // Of two threads that come first together, one goes without its own.
    if (__atomic_compare_exchange_n(&skfd, &known, opened, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE))
        return true;
    close(opened);
    return known >= 0;
}

InterfaceName::InterfaceName(uint32_t number) noexcept {
    snprintf(text, sizeof text, "eth%d", static_cast<int>(number));
}

Mii::Mii(uint32_t interfaceNumber) noexcept {
    const InterfaceName name(interfaceNumber);
    memcpy(request_.ifr_name, name.text, strnlen(name.text, sizeof request_.ifr_name));
}

bool Mii::find() noexcept {
    mii_ioctl_data block{};
    if (!exchange(SIOCGMIIPHY, request_, block)) return false;
    phyId_ = block.phy_id;
    return true;
}

bool Mii::read(uint16_t reg, uint16_t& value) noexcept {
    mii_ioctl_data block{.phy_id = phyId_, .reg_num = reg, .val_in = 0, .val_out = 0};
    if (!exchange(SIOCGMIIREG, request_, block)) return false;
    value = block.val_out;
    return true;
}

bool Mii::write(uint16_t reg, uint16_t value) noexcept {
    mii_ioctl_data block{.phy_id = phyId_, .reg_num = reg, .val_in = value, .val_out = 0};
    return exchange(SIOCSMIIREG, request_, block);
}

}  // namespace pcsim
