// MII for network interfaces whose driver has none.
//
// The platform reads link, speed and duplex of a port from the PHY registers of the network card
// behind it. Drivers of virtual cards (virtio, veth, most others) refuse the three MII ioctls, so
// no port would ever see link. For those this module plays a 10/100 Mbit/s PHY at address 1:
//
//   register 0      control. A reset (0x8000) restores the defaults. Reset, power-down and the
//                   restart bit clear or stick as on a real PHY.
//   register 1      status; link is the interface's real carrier
//   registers 2, 3  identifier
//   register 4      own advertisement, by default everything and pause; takes effect when
//                   negotiation starts again
//   register 5      the partner: everything and pause while there is carrier, else 0. In a lab
//                   whose cables lead to another emulated PHY (wire.h), what that one offers, and
//                   link only where the two agree
//   registers 6, 7  whether the partner negotiates; no next page
//
// All others read 0 and ignore writes, as does every register of another PHY address, which reads
// 0xFFFF. A veth has no transmitter that could fall silent, so a PHY that advertises nothing or is
// powered down takes its interface administratively down, which is what the far end can see; a
// reset, or negotiation with anything to offer, brings it up again.
//
// The kernel always answers first. Only "not supported" is answered here; real MII costs nothing
// more than the call itself. PCSIM_MII=off in the environment leaves the driver's word alone. A PHY
// is one 64-bit word that is changed at a stroke, in a fixed table: nothing is allocated, nothing
// waits, any thread may call. PHYs are told apart by interface index: a new interface has a new
// PHY, a renamed one keeps its own.
#ifndef PCSIM_MII_MII_H
#define PCSIM_MII_MII_H

namespace pcsim::mii {

// The kernel's ioctl: -1 with errno set, or its result.
using KernelIoctl = int(int descriptor, unsigned long request, void* argument);

// Answers an ioctl on 'descriptor' like the kernel would: MII requests that its driver refuses from
// the emulated PHY, everything else by 'kernel'. An answer that the caller's memory doesn't take is
// EFAULT. errno is changed only by a failure.
int answer(KernelIoctl* kernel, int descriptor, unsigned long request, void* argument);

}  // namespace pcsim::mii

#endif
