// Telling events to streams.
#include "console/server/event_feed.h"

#include <algorithm>

#include "console/json_sink.h"

namespace pcsim {

namespace {

// Streams that keep up share the texts of so many events.
constexpr size_t kTailsKept = 1024;

}  // namespace

EventFeed::EventFeed(EventLog& log)
    : log_(log), listener_(log.listen([this](const Event& event) {
          for (EventStream* const stream : streams_) stream->happened(event);
      })) {}

EventFeed::~EventFeed() {
    log_.remove(listener_);
}

const std::string& EventFeed::tailOf(const Event& event) {
    const auto tail = [&event] { return jsonOf(event).substr(1) + "}\n"; };
    if (event.position < firstTail_) return single_ = tail();
    if (event.position > firstTail_ + tails_.size()) {
        tails_.clear();
        firstTail_ = event.position;
    }
    if (event.position == firstTail_ + tails_.size()) tails_.push_back(tail());
    if (tails_.size() > kTailsKept) {
        tails_.pop_front();
        ++firstTail_;
    }
    return tails_[static_cast<size_t>(event.position - firstTail_)];
}

EventStream::EventStream(EventFeed& feed, uint64_t id, Wish wish, std::function<void()> moreComes)
    : feed_(feed),
      id_(id),
      wish_(std::move(wish)),
      moreComes_(std::move(moreComes)),
      position_(wish_.since) {
    wanted_ = wantedInLog();
    const auto& events = feed_.log().events();
    // What was dropped before is told of as it is: nobody knows what it was.
    if (!events.empty() && events.front().position > position_)
        wanted_ += events.front().position - position_;
    feed_.streams_.insert(this);
}

EventStream::~EventStream() {
    feed_.streams_.erase(this);
}

bool EventStream::wants(const Event& event) const {
    const auto isFrom = [&event](const std::string& source) {
        return event.source == source || event.source.starts_with(source + " ");
    };
    if (!wish_.sources.empty() && std::ranges::none_of(wish_.sources, isFrom)) return false;
    return wish_.about.empty() ||
           (event.source + " " + event.text).find(wish_.about) != std::string::npos;
}

void EventStream::happened(const Event& event) {
    if (!wants(event)) return;
    ++wanted_;
    moreComes_();
}

// How many of those that the log still has, from our position on.
uint64_t EventStream::wantedInLog() const {
    uint64_t count = 0;
    for (const Event& event : feed_.log().events())
        if (event.position >= position_ && wants(event)) ++count;
    return count;
}

std::string EventStream::lost(uint64_t count) {
    told_ += count;
    return fmt::format(
        R"({{"jsonrpc":"2.0","method":"lost","params":{{"stream":{},"sequence":{},"count":{}}}}})"
        "\n",
        id_, takeSequence(), count);
}

std::string EventStream::next(size_t bytes) {
    std::string lines;
    const auto& events = feed_.log().events();
    if (events.empty()) return lines;
    const uint64_t first = events.front().position, end = events.back().position + 1;
    if (position_ < first) {
        const uint64_t missing = wanted_ - told_ - wantedInLog();
        if (missing != 0) lines += lost(missing);
        position_ = first;
    }
    for (; position_ < end && lines.size() < bytes; ++position_) {
        const Event& event = events[static_cast<size_t>(position_ - first)];
        if (!wants(event)) continue;
        ++told_;
        lines += fmt::format(
            R"({{"jsonrpc":"2.0","method":"event","params":{{"stream":{},"sequence":{},)", id_,
            takeSequence());
        lines += feed_.tailOf(event);
    }
    return lines;
}

}  // namespace pcsim
