// Streams of events: each client gets those it asked for, numbered without gaps.
//
// A stream keeps no events. It has a position in the event log and goes on from there whenever its
// connection has room, so one that is slow costs nothing; when the log has dropped what it had not
// been told yet, it is told how many that were.
#ifndef PCSIM_CONSOLE_SERVER_EVENT_FEED_H
#define PCSIM_CONSOLE_SERVER_EVENT_FEED_H

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "console/event_log.h"

namespace pcsim {

class EventFeed;

class EventStream {
public:
    struct Wish {
        std::vector<std::string> sources;  // none: all
        std::string about;                 // a part of "source text"
        uint64_t since = 0;
    };

    // 'moreComes' is called when there is something to tell, from within others' work.
    EventStream(EventFeed& feed, uint64_t id, Wish wish, std::function<void()> moreComes);
    ~EventStream();
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    uint64_t id() const { return id_; }
    uint64_t takeSequence() { return sequence_++; }

    // The lines of what comes next, up to about 'bytes'; "" when all is told.
    std::string next(size_t bytes);

private:
    friend class EventFeed;
    bool wants(const Event& event) const;
    void happened(const Event& event);
    std::string lost(uint64_t count);
    uint64_t wantedInLog() const;

    EventFeed& feed_;
    uint64_t id_;
    Wish wish_;
    std::function<void()> moreComes_;
    uint64_t position_;  // of the next event to look at
    uint64_t sequence_ = 0;
    uint64_t wanted_ = 0, told_ = 0;  // events since the stream began
};

// What the streams of all connections share: the log, and the JSON of events, written once.
class EventFeed {
public:
    explicit EventFeed(EventLog& log);
    ~EventFeed();
    EventFeed(const EventFeed&) = delete;
    EventFeed& operator=(const EventFeed&) = delete;

    const EventLog& log() const { return log_; }
    // The end of an event's notification: its members, and what closes the line.
    const std::string& tailOf(const Event& event);

private:
    friend class EventStream;

    EventLog& log_;
    EventLog::ListenerId listener_;
    std::set<EventStream*> streams_;
    std::deque<std::string> tails_;  // of neighbouring events, from firstTail_ on
    uint64_t firstTail_ = 0;
    std::string single_;
};

}  // namespace pcsim

#endif
