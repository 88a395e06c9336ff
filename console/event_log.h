// The event log: what happened to the simulated system, in order.
//
// Whoever knows of something that an operator would want to know adds it. Listeners (sessions) may
// follow along. The oldest events go when the log is full; positions keep counting.
#ifndef PCSIM_CONSOLE_EVENT_LOG_H
#define PCSIM_CONSOLE_EVENT_LOG_H

#include <fmt/core.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>

namespace pcsim {

struct Event {
    uint64_t position;  // counts from 0
    uint64_t timeMs;
    std::string source;  // "card", "port", "trace Port", "platform", ...
    std::string text;
};

class EventLog {
public:
    static constexpr size_t kCapacity = 20000;

    // Tells the time that events are stamped with, in milliseconds.
    using Clock = std::function<uint64_t()>;

    explicit EventLog(Clock nowMs) : nowMs_(std::move(nowMs)) {}

    void add(std::string source, std::string text);

    // The same with a formatted text.
    template <typename... Arguments>
    void note(const char* source, fmt::format_string<Arguments...> format,
              Arguments&&... arguments) {
        noteFormatted(source, format, fmt::make_format_args(arguments...));
    }

    const std::deque<Event>& events() const { return events_; }

    // The first event at or after 'from' whose "source text" contains 'part', or null.
    const Event* find(const std::string& part, uint64_t from) const;

    // The position that the next event will have.
    uint64_t nextPosition() const { return nextPosition_; }

    using Listener = std::function<void(const Event&)>;
    using ListenerId = uint64_t;

    // Calls 'listener' with every event from now on, until it is removed; it may remove itself and
    // others while it is called.
    ListenerId listen(Listener listener);
    void remove(ListenerId id);

private:
    void noteFormatted(const char* source, fmt::string_view format, fmt::format_args arguments);

    Clock nowMs_;
    uint64_t lastMs_ = 0;
    std::deque<Event> events_;
    uint64_t nextPosition_ = 0;
    std::map<ListenerId, Listener> listeners_;
    ListenerId nextListener_ = 0;
};

// "[   12.345] card      Slot 3 operational"
std::string formatEvent(const Event& event);

}  // namespace pcsim

#endif
