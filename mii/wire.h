// The cables between emulated PHYs of different processes: a file that all of them map.
//
// Whoever lays the cables (a lab) makes the file, names the ends, and says which is the partner of
// which. Each process publishes in its own ends what their PHYs are told, and reads its partners'.
// A word is read and written at a stroke; nobody waits. A process is told by its environment:
//
//   PCSIM_WIRE=FILE:FIRST:COUNT    its ends are COUNT ones from number FIRST on
//
// Without it, and for interfaces that the file doesn't name, a partner offers everything.
#ifndef PCSIM_MII_WIRE_H
#define PCSIM_MII_WIRE_H

#include <atomic>
#include <cstdint>

#include "mii/negotiation.h"

namespace pcsim::mii {

// The file: a WireHeader, then 'count' WireEnds, all in the byte order of the machine.
struct WireHeader {
    char magic[16];  // "pcsim wire 1", then zeros
    uint32_t count;
    uint32_t reserved[3];
};

inline constexpr uint32_t kNoPartner = 0xFFFFFFFF;

struct WireEnd {
    char interface[16];         // its name in the process's network namespace
    std::atomic<uint32_t> phy;  // control << 16 | advertisement; 0: no emulated PHY stands there
    std::atomic<uint32_t> partner;  // number of the other end, or kNoPartner
    std::atomic<uint32_t>
        carried;  // the abilities that pass here; a cable carries what both let by
    uint32_t reserved;
};
static_assert(sizeof(WireHeader) == 32 && sizeof(WireEnd) == 32);

// The end of the interface with that name, or null. Maps the file when it is first called.
WireEnd* wireEnd(const char* interface);

// The PHY that is in force there has been told 'phy'.
void publish(WireEnd& end, Phy phy);

// Whether a PHY stands there; if so, what is in force.
bool published(const WireEnd& end, Phy* phy);

// What the end learns from its partner.
Agreement agreementOf(const WireEnd& end);

}  // namespace pcsim::mii

#endif
