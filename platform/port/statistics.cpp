// Port counters: the current reading, the baseline, and what is reported of them.
//
// The two statistics operations are one mechanism; they differ in their name and in whether the
// baseline first moves to the previous reading.
#include <stdio.h>

#include "platform/base/ownSlot.h"
#include "platform/base/trace.h"
#include "platform/port/pcSimPort.h"
#include "platform/port/procNetDev.h"

using pcsim::portNumberOf;
using pcsim::portRow;
using pcsim::portSlotOf;
using pcsim::portTypeOf;

extern "C" {
PCSIM_EXPORT PortStatsRecord currstats[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
PCSIM_EXPORT PortStatsRecord prevstats[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
}

namespace {

using Counter = HalCounter64 PortStatsRecord::*;

// Where each column of the kernel's table goes; null: thrown away.
const Counter kColumnCounters[pcsim::kProcNetDevColumns] = {
    &PortStatsRecord::receivedBytes,
    &PortStatsRecord::receivedPackets,
    &PortStatsRecord::receiveErrors,
    &PortStatsRecord::receiveDrops,
    &PortStatsRecord::receiveFifoErrors,
    &PortStatsRecord::receiveFrameErrors,
    nullptr,  // receive compressed
    &PortStatsRecord::receivedMulticastPackets,
    &PortStatsRecord::transmittedBytes,
    &PortStatsRecord::transmittedPackets,
    &PortStatsRecord::transmitErrors,
    &PortStatsRecord::transmitDrops,
    nullptr,  // transmit fifo
    &PortStatsRecord::collisions,
    nullptr,  // transmit carrier
    nullptr,  // transmit compressed
};

// The counters that the HAL gets to see.
const Counter kReportedCounters[] = {
    &PortStatsRecord::receivedPackets,    &PortStatsRecord::receivedMulticastPackets,
    &PortStatsRecord::receivedBytes,      &PortStatsRecord::transmittedBytes,
    &PortStatsRecord::transmittedPackets, &PortStatsRecord::receiveFrameErrors,
    &PortStatsRecord::counter308,         &PortStatsRecord::counter316,
    &PortStatsRecord::receiveErrors,      &PortStatsRecord::transmitDrops,
    &PortStatsRecord::transmitErrors,     &PortStatsRecord::collisions,
};

// Switch hardware counts the frame-check bytes of a packet, the PC's interfaces don't.
constexpr uint64_t kFrameCheckBytes = 4;

void moveBaseline(PortStatsRecord& baseline, const PortStatsRecord& current) noexcept {
    for (const Counter counter : kReportedCounters) baseline.*counter = current.*counter;
}

void report(PortStatsRecord& out, const PortStatsRecord& current,
            const PortStatsRecord& baseline) noexcept {
    for (const Counter counter : kReportedCounters)
        out.*counter = current.*counter - baseline.*counter;
    out.receivedBytes += kFrameCheckBytes * out.receivedPackets;
    out.transmittedBytes += kFrameCheckBytes * out.transmittedPackets;
}

void printOutOfRange(const char* operation, uint32_t slot, uint32_t number) noexcept {
    printf("%s-Port %d:%d out of range.\n", operation, static_cast<int>(slot),
           static_cast<int>(number));
}

// What came of reading a port's line. A port without a line keeps its old reading and is kRead.
enum class Refreshed : uint8_t { kRead, kOtherSlot, kFailed };

Refreshed refresh(const char* operation, uint32_t portInstance, PortStatsRecord& current) noexcept {
    pcsim::ProcNetDev table;
    if (!table.isOpen()) {
        TRACE_PORT_AS(operation, "Can't open %s.  Limited output. file handle = %p",
                      pcsim::kProcNetDev, static_cast<void*>(nullptr));
        return Refreshed::kFailed;
    }
    uint32_t interfaceNumber = 0;
    switch (portTypeOf(portInstance)) {
        case HAL_PORT_TYPE_FRONT_PANEL:
            interfaceNumber =
                halGetHwPortMapping(portSlotOf(portInstance), portNumberOf(portInstance));
            break;
        case HAL_PORT_TYPE_MANAGEMENT:
            // These two ways out leave the table open for the next reading.
            if (static_cast<int32_t>(portSlotOf(portInstance)) != pcSimGetMySlotNum()) {
                table.leaveOpen();
                return Refreshed::kOtherSlot;
            }
            break;
        default:
            table.leaveOpen();
            return Refreshed::kFailed;
    }
    uint64_t columns[pcsim::kProcNetDevColumns];
    const uint32_t count = table.read(interfaceNumber, columns);
    for (uint32_t i = 0; i < count; ++i)
        if (const Counter counter = kColumnCounters[i]) current.*counter = columns[i];
    return Refreshed::kRead;
}

enum class Baseline : uint8_t { kStays, kMovesFirst };

int32_t getStatistics(const char* operation, uint32_t portInstance, PortStatsRecord* out,
                      Baseline movement) noexcept {
    if (pcsim::isLogicalPort(portInstance)) return 0;
    // Only the link flag counts: a port that is up without a common ability is still read.
    uint32_t link = 0;
    uint32_t unused[4] = {};
    static_cast<void>(
        pcSimCardPortLinkInfo(portInstance, &link, &unused[0], &unused[1], &unused[2], &unused[3]));
    if (link == 0) return 0;

    const uint32_t slot = portSlotOf(portInstance);
    const uint32_t number = portNumberOf(portInstance);
    PortStatsRecord* current = portRow(currstats, slot, number);
    PortStatsRecord* baseline = portRow(prevstats, slot, number);
    if (current == nullptr || baseline == nullptr) {
        printOutOfRange(operation, slot, number);
        return -1;
    }
    if (movement == Baseline::kMovesFirst) moveBaseline(*baseline, *current);
    switch (refresh(operation, portInstance, *current)) {
        case Refreshed::kFailed:
            return -1;
        case Refreshed::kOtherSlot:
            return 0;
        case Refreshed::kRead:
            break;
    }
    report(*out, *current, *baseline);
    return 0;
}

}  // namespace

extern "C" {

int32_t pcSimCardPortGetStats(uint32_t portInstance, PortStatsRecord* out) noexcept {
    return getStatistics(__func__, portInstance, out, Baseline::kStays);
}

int32_t pcSimCardPortGetStatsReadClear(uint32_t portInstance, PortStatsRecord* out) noexcept {
    return getStatistics(__func__, portInstance, out, Baseline::kMovesFirst);
}

int32_t pcSimCardPortZeroStats(uint32_t portInstance) noexcept {
    if (pcsim::isLogicalPort(portInstance)) return 0;
    const uint32_t slot = portSlotOf(portInstance);
    const uint32_t number = portNumberOf(portInstance);
    // Port 0 stands for all ports of the slot.
    const uint32_t first = number != 0 ? number : 1;
    const uint32_t last = number != 0 ? number : PCSIM_PORTS_PER_SLOT - 1;
    for (uint32_t port = first; port <= last; ++port) {
        const PortStatsRecord* current = portRow(currstats, slot, port);
        PortStatsRecord* baseline = portRow(prevstats, slot, port);
        if (current == nullptr || baseline == nullptr) {
            printOutOfRange(__func__, slot, port);
            return -1;
        }
        // The HAL counts transmit drops for the life of the port.
        const uint64_t transmitDrops = baseline->transmitDrops;
        moveBaseline(*baseline, *current);
        baseline->transmitDrops = transmitDrops;
    }
    return 0;
}
}
