// The event log.
#include "console/event_log.h"

#include <algorithm>

namespace pcsim {

void EventLog::add(std::string source, std::string text) {
    // A timer that was due while something else ran stamps its own time: the log goes on from
    // there, and never back.
    lastMs_ = std::max(lastMs_, nowMs_());
    events_.push_back({nextPosition_++, lastMs_, std::move(source), std::move(text)});
    if (events_.size() > kCapacity) events_.pop_front();
    const Event event = events_.back();
    for (auto next = listeners_.begin(); next != listeners_.end();) {
        const ListenerId id = next->first;
        const Listener listener = next->second;  // it may be removed while it runs
        listener(event);
        next = listeners_.upper_bound(id);
    }
}

EventLog::ListenerId EventLog::listen(Listener listener) {
    listeners_.emplace(nextListener_, std::move(listener));
    return nextListener_++;
}

void EventLog::remove(ListenerId id) {
    listeners_.erase(id);
}

void EventLog::noteFormatted(const char* source, fmt::string_view format,
                             fmt::format_args arguments) {
    add(source, fmt::vformat(format, arguments));
}

const Event* EventLog::find(const std::string& part, uint64_t from) const {
    for (const Event& event : events_) {
        if (event.position < from) continue;
        if ((event.source + " " + event.text).find(part) != std::string::npos) return &event;
    }
    return nullptr;
}

std::string formatEvent(const Event& event) {
    return fmt::format("[{:5}.{:03}] {:<9} {}", event.timeMs / 1000, event.timeMs % 1000,
                       event.source, event.text);
}

}  // namespace pcsim
