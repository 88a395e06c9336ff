// Halving, with what the calls that stay need of others.
#include "probe/tools/reduction.h"

#include <algorithm>
#include <string_view>

namespace pcsim::probe {
namespace {

std::string_view areaOf(const Recording& recording, const Event& event) {
    const Operation* const operation = operationNamed(recording.siteOf(event).name);
    return operation != nullptr ? operation->header : std::string_view();
}

}  // namespace

Reduction::Reduction(const Recording& recording, std::function<bool(const Recording&)> shows,
                     std::function<bool()> goOn)
    : recording_(recording),
      shows_(std::move(shows)),
      goOn_(std::move(goOn)),
      tree_(recording),
      needs_(recording, tree_, Needs::Of::kValues) {}

Reduction::Units Reduction::closed(const Units& units) const {
    std::vector<bool> kept(last_ + 1);
    for (const uint32_t unit : units) kept[unit] = true;
    kept[last_] = true;
    needs_.close(kept);
    Units all;
    for (uint32_t unit = 0; unit <= last_; ++unit)
        if (kept[unit]) all.push_back(unit);
    return all;
}

// Makes 'units' the best, with what they need, when they are fewer and show it.
bool Reduction::tryUnits(const Units& units) {
    const Units all = closed(units);
    if (all.size() >= best_.size() || !goOn_()) return false;
    std::vector<bool> kept(tree_.units().size());
    for (const uint32_t unit : all) kept[unit] = true;
    ++attempts_;
    if (!shows_(onlyUnits(recording_, tree_, kept))) return false;
    best_ = all;
    return true;
}

// The calls of the operation's area, and those that no area has to itself: the start and others.
Reduction::Units Reduction::ofArea() const {
    const auto firstOf = [&](uint32_t unit) -> const Event& {
        return recording_.events[tree_.units()[unit].events.front()];
    };
    const std::string_view area = areaOf(recording_, firstOf(last_));
    Units units;
    for (uint32_t unit = 0; unit <= last_; ++unit) {
        const std::string_view own = areaOf(recording_, firstOf(unit));
        if (own == area || own == "system") units.push_back(unit);
    }
    return units;
}

// One pass: leaves each 'chunk' of calls out that isn't needed, the later ones first.
void Reduction::leaveOut(size_t chunk) {
    for (size_t end = best_.size() - 1; end > 0 && goOn_();) {
        const size_t begin = end > chunk ? end - chunk : 0;
        Units rest(best_.begin(), best_.begin() + static_cast<std::ptrdiff_t>(begin));
        rest.insert(rest.end(), best_.begin() + static_cast<std::ptrdiff_t>(end), best_.end());
        tryUnits(rest);
        end = std::min(begin, best_.size() - 1);
    }
}

Recording Reduction::upTo(uint64_t call) {
    for (size_t index = 0; index < recording_.events.size(); ++index) {
        const Event& event = recording_.events[index];
        if (event.kind == Event::Kind::kCall && event.call == call)
            last_ = std::min<uint32_t>(tree_.unitOf(index),
                                       static_cast<uint32_t>(tree_.units().size()) - 1);
    }
    best_.clear();
    for (uint32_t unit = 0; unit <= last_; ++unit) best_.push_back(unit);
    if (!tryUnits({last_})) tryUnits(ofArea());
    for (size_t chunk = best_.size() / 2; chunk >= 1; chunk /= 2) leaveOut(chunk);
    // What had to stay for another's sake may go now that the other is gone.
    for (size_t before = best_.size() + 1; best_.size() < before && goOn_();) {
        before = best_.size();
        leaveOut(1);
    }
    std::vector<bool> kept(tree_.units().size());
    for (const uint32_t unit : best_) kept[unit] = true;
    return onlyUnits(recording_, tree_, kept);
}

}  // namespace pcsim::probe
