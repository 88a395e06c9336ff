// A client: reads its requests, runs them one after the other in a session of its own, and writes
// what they come to.
//
// Reading stops while enough requests wait or answers aren't taken, so a client that doesn't read
// holds up nobody but itself.
#ifndef PCSIM_CONSOLE_SERVER_CONNECTION_H
#define PCSIM_CONSOLE_SERVER_CONNECTION_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <string>

#include "console/server/channel.h"
#include "console/server/event_feed.h"
#include "console/server/hub.h"
#include "console/server/request.h"
#include "console/server/request_sink.h"
#include "console/session.h"

namespace pcsim {

class Connection {
public:
    // Takes the descriptor.
    Connection(Hub& hub, ConnectionId id, int descriptor);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // The socket is ready for what was listened for.
    void ready(uint32_t events);
    // Whatever is to be done now: telling events, handing over, running what waits.
    void attend();
    // Refuses what has not run, and writes what is left for a short time.
    void finish();
    // A work of this connection goes on, which needs it.
    bool busy() const { return work_ != 0; }

    // For methods.
    Hub& hub() { return hub_; }
    Session& session() { return session_; }
    RequestSink& sink() { return sink_; }
    // Gives others a turn when this has had its share of time. Throws a CommandError when
    // interrupted.
    void breathe();
    // Begins a stream; its id.
    EventStream& addStream(EventStream::Wish wish);
    bool removeStream(uint64_t id);
    // Something to tell behind the answer of the request that runs.
    void tellBehind(std::string line) { behind_ += line; }

private:
    using Clock = std::chrono::steady_clock;

    void takeLines();
    void take(Channel::Line line);
    void interrupt(const Request& request);
    void startWork();
    void work();
    std::string answerTo(const Request& request);
    void giveWay();
    void print(const std::string& text, const std::string& event);
    bool handOver();
    void refuseRest(int code, const std::string& why);
    void listen();
    void lose();
    bool over() const;

    Hub& hub_;
    ConnectionId id_;
    Channel channel_;
    RequestSink sink_;
    Session session_;
    std::deque<Request> requests_;
    Surroundings::WorkId work_ = 0;  // that runs them, 0 when none does
    bool running_ = false;           // one of them
    bool interruptNext_ = false;
    bool gone_ = false;     // the peer is
    bool leaving_ = false;  // we are, when all is handed over
    uint64_t leftOut_ = 0;  // events of 'events on' that were not taken in time
    uint64_t lastStream_ = 0;
    std::list<EventStream> streams_;
    std::string behind_;
    uint32_t listening_ = 0;
    Clock::time_point turnBegan_;
};

}  // namespace pcsim

#endif
