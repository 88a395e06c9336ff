// What the connections of a server share.
#ifndef PCSIM_CONSOLE_SERVER_HUB_H
#define PCSIM_CONSOLE_SERVER_HUB_H

#include <chrono>
#include <cstdint>

#include "console/server/event_feed.h"
#include "console/server/server.h"

namespace pcsim {

using ConnectionId = uint64_t;

struct Hub {
    Hub(Console& one, std::string instance, ServerFacts known)
        : console(one), name(std::move(instance)), facts(std::move(known)) {}
    virtual ~Hub() = default;

    // What the poll of the server waits for on a connection's socket.
    virtual void listenFor(ConnectionId id, int descriptor, uint32_t events) = 0;
    // Calls the connection's attend() soon.
    virtual void attendSoon(ConnectionId id) = 0;
    // The connection is over; it is deleted soon.
    virtual void drop(ConnectionId id) = 0;

    Console& console;
    const std::string name;  // of the instance
    const ServerFacts facts;
    const std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
    EventFeed feed{console.events};
};

}  // namespace pcsim

#endif
