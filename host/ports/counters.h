// The counters of a port that the platform reports, as a list: a key, a title and the field.
#ifndef PCSIM_HOST_PORTS_COUNTERS_H
#define PCSIM_HOST_PORTS_COUNTERS_H

#include <array>

#include "pcsim/port.h"

namespace pcsim::host {

struct Counter {
    const char* key;
    const char* title;
    HalCounter64 PortStatsRecord::*field;
};

inline constexpr std::array kCounters = {
    Counter{"rxPackets", "Received packets", &PortStatsRecord::receivedPackets},
    Counter{"rxBytes", "Received bytes", &PortStatsRecord::receivedBytes},
    Counter{"rxMulticast", "Received multicast packets",
            &PortStatsRecord::receivedMulticastPackets},
    Counter{"rxErrors", "Receive errors", &PortStatsRecord::receiveErrors},
    Counter{"rxFrameErrors", "Receive frame errors", &PortStatsRecord::receiveFrameErrors},
    Counter{"txPackets", "Transmitted packets", &PortStatsRecord::transmittedPackets},
    Counter{"txBytes", "Transmitted bytes", &PortStatsRecord::transmittedBytes},
    Counter{"txErrors", "Transmit errors", &PortStatsRecord::transmitErrors},
    Counter{"txDrops", "Transmit drops", &PortStatsRecord::transmitDrops},
    Counter{"collisions", "Collisions", &PortStatsRecord::collisions},
};

}  // namespace pcsim::host

#endif
