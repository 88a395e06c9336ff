// Lines that stay are found by what they say: the first of equal lines is that of the other text's
// first, and so on. Of all those pairs the longest run that is in order in both texts stays where
// it is. A million lines take a second; equal lines far apart may cost a line more than needed.
#include "host/state/line_diff.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>

#include "host/state/state_text.h"

namespace pcsim::host {

namespace {

using Texts = std::vector<std::string_view>;
constexpr uint32_t kNone = ~uint32_t{0};

Texts linesOf(std::string_view text) {
    Texts lines;
    forEachLine(text, [&](std::string_view line) { lines.push_back(line); });
    return lines;
}

// For each line of 'after' its twin in 'before', or kNone.
std::vector<uint32_t> twinsOf(const Texts& before, const Texts& after) {
    // The first line that says so, and for each the next one that says the same.
    boost::unordered_flat_map<std::string_view, uint32_t> first;
    first.reserve(before.size());
    std::vector<uint32_t> next(before.size(), kNone);
    for (uint32_t i = static_cast<uint32_t>(before.size()); i-- != 0;) {
        const auto [place, isNew] = first.try_emplace(before[i], i);
        if (isNew) continue;
        next[i] = place->second;
        place->second = i;
    }
    std::vector<uint32_t> twins(after.size(), kNone);
    for (size_t i = 0; i < after.size(); ++i) {
        const auto found = first.find(after[i]);
        if (found == first.end() || found->second == kNone) continue;
        twins[i] = found->second;
        found->second = next[found->second];
    }
    return twins;
}

// Leaves of the twins the longest run that ascends.
void keepAscending(std::vector<uint32_t>& twins) {
    // The line that ends the best run of each length with the lowest twin; before each line of a
    // run the one that it follows.
    std::vector<uint32_t> ends, follows(twins.size(), kNone);
    for (uint32_t i = 0; i < twins.size(); ++i) {
        if (twins[i] == kNone) continue;
        const auto place = std::ranges::lower_bound(ends, twins[i], {},
                                                    [&](uint32_t line) { return twins[line]; });
        if (place != ends.begin()) follows[i] = *(place - 1);
        place == ends.end() ? ends.push_back(i) : static_cast<void>(*place = i);
    }
    std::vector<uint32_t> kept(twins.size(), kNone);
    for (uint32_t i = ends.empty() ? kNone : ends.back(); i != kNone; i = follows[i])
        kept[i] = twins[i];
    twins = std::move(kept);
}

}  // namespace

std::vector<LineChange> lineDiff(std::string_view before, std::string_view after) {
    const Texts from = linesOf(before), to = linesOf(after);
    std::vector<uint32_t> twins = twinsOf(from, to);
    keepAscending(twins);
    std::vector<LineChange> changes;
    uint32_t at = 0;
    const auto goUntil = [&](size_t end) {
        for (; at < end; ++at) changes.push_back({'-', from[at]});
    };
    for (size_t i = 0; i < to.size(); ++i) {
        if (twins[i] != kNone) {
            goUntil(twins[i]);
            ++at;
        } else {
            // What goes at a place is told before what comes there.
            const auto stays = std::find_if(twins.begin() + static_cast<ptrdiff_t>(i), twins.end(),
                                            [](uint32_t twin) { return twin != kNone; });
            goUntil(stays == twins.end() ? from.size() : *stays);
            for (; i < to.size() && twins[i] == kNone; ++i) changes.push_back({'+', to[i]});
            --i;
        }
    }
    goUntil(from.size());
    return changes;
}

}  // namespace pcsim::host
