// The event log: what happened to the simulated system, in order.
//
// Managers add what an operator would want to know, the logger adds the platform's incidents, the
// platform choke point adds what the library prints. A listener (the console) may follow along.
// The oldest events go when the log is full; positions keep counting.
#ifndef PCSIM_CONSOLE_EVENT_LOG_H
#define PCSIM_CONSOLE_EVENT_LOG_H

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "console/error.h"
#include "host/core/scheduler.h"

namespace pcsim::host {

struct Event {
    uint64_t position;  // counts from 0
    uint64_t timeMs;
    std::string source;  // "card", "port", "trace Port", "platform", ...
    std::string text;
};

class EventLog {
public:
    static constexpr size_t kCapacity = 20000;

    explicit EventLog(const Scheduler& scheduler) : scheduler_(scheduler) {}

    void add(std::string source, std::string text);

    template <typename... Arguments>
    void note(const char* source, fmt::format_string<Arguments...> format,
              Arguments&&... arguments) {
        add(source, fmt::format(format, std::forward<Arguments>(arguments)...));
    }

    const std::deque<Event>& events() const { return events_; }

    // The first event at or after 'from' whose "source text" contains 'part', or null.
    const Event* find(const std::string& part, uint64_t from) const;

    // Where a script's 'wait event' and 'expect event' go on looking.
    uint64_t cursor = 0;

    std::function<void(const Event&)> listener;

private:
    const Scheduler& scheduler_;
    std::deque<Event> events_;
    uint64_t nextPosition_ = 0;
};

// "[   12.345] card      Slot 3 operational"
std::string formatEvent(const Event& event);

}  // namespace pcsim::host

#endif
