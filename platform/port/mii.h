// The PHY of one interface, reached by the kernel's MII requests over the library's one socket.
//
// This is the only place that talks MII. Every call is one request; nothing is cached, so the HAL
// always sees the PHY as it is.
#ifndef PCSIM_PORT_MII_H
#define PCSIM_PORT_MII_H

#include <net/if.h>
#include <stdint.h>

namespace pcsim {

// Opens 'skfd' unless it is open already. A failure leaves it negative, so the next call tries
// again. Threads that come first together end up with one socket.
bool openPortSocket() noexcept;

class Mii {
public:
    // The PHY of "eth<interfaceNumber>".
    explicit Mii(uint32_t interfaceNumber) noexcept;

    // Asks the interface for the address of its PHY; first of all, and once.
    bool find() noexcept;
    bool read(uint16_t reg, uint16_t& value) noexcept;
    bool write(uint16_t reg, uint16_t value) noexcept;

private:
    ifreq request_{};
    uint16_t phyId_ = 0;
};

// What 'name' of an interface is, as the kernel knows it: "eth<number>".
struct InterfaceName {
    explicit InterfaceName(uint32_t number) noexcept;
    char text[IFNAMSIZ];
};

}  // namespace pcsim

#endif
