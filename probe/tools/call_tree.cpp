// One pass over the events, with the calls under way on each thread.
#include "probe/tools/call_tree.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace pcsim::probe {

CallTree::CallTree(const Recording& recording) {
    unitOf_.reserve(recording.events.size());
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const uint32_t unit = unitOf(recording.events[index]);
        unitOf_.push_back(unit);
        if (unit != kNone) units_[unit].events.push_back(static_cast<uint32_t>(index));
    }
    threads_.clear();
}

CallTree::Thread& CallTree::thread(uint32_t number) {
    const auto found = std::ranges::find(threads_, number, &Thread::number);
    if (found != threads_.end()) return *found;
    threads_.push_back({number, {}});
    return threads_.back();
}

uint32_t CallTree::unitOf(const Event& event) {
    if (event.kind == Event::Kind::kState) return kNone;
    auto& open = thread(event.thread).open;
    if (event.kind == Event::Kind::kCall) {
        // A call that a jump has left stays open; the depth of the next one tells.
        while (open.size() > event.depth) open.pop_back();
        if (open.empty()) units_.emplace_back();
        open.push_back({event.call, static_cast<uint32_t>(units_.size() - 1)});
        if (open.size() > 1) open.back().unit = open.front().unit;
        return open.back().unit;
    }
    const auto call = std::ranges::find(open, event.call, &Open::call);
    if (call == open.end()) return kNone;
    const uint32_t unit = call->unit;
    if (event.kind == Event::Kind::kReturn) open.erase(call, open.end());
    return unit;
}

namespace {

// What a state is about: the variable and where its first block lies.
using StateKey = std::pair<std::string_view, uint32_t>;

StateKey keyOf(const Event& event) {
    return {event.text, event.blocks.empty() ? 0 : event.blocks.front().address};
}

}  // namespace

Recording onlyUnits(const Recording& recording, const CallTree& tree,
                    const std::vector<bool>& kept) {
    Recording result = recording.withoutEvents();
    std::map<StateKey, size_t> states;  // the last ones, that no kept call has seen yet
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const Event& event = recording.events[index];
        if (event.kind == Event::Kind::kState) {
            states[keyOf(event)] = index;
            continue;
        }
        const uint32_t unit = tree.unitOf(index);
        if (unit == CallTree::kNone || !kept[unit]) continue;
        std::vector<size_t> before;
        for (const auto& [key, state] : states) before.push_back(state);
        std::ranges::sort(before);
        for (const size_t state : before) result.events.push_back(recording.events[state]);
        states.clear();
        result.events.push_back(event);
    }
    return result;
}

}  // namespace pcsim::probe
