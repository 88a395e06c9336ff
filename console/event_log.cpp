// The event log.
#include "console/event_log.h"

namespace pcsim::host {

void EventLog::add(std::string source, std::string text) {
    events_.push_back({nextPosition_++, scheduler_.nowMs(), std::move(source), std::move(text)});
    if (events_.size() > kCapacity) events_.pop_front();
    if (listener) listener(events_.back());
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

}  // namespace pcsim::host
