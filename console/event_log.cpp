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
    if (listener) listener(events_.back());
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
