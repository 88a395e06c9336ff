// Reading selections, and looking calls up in them.
#include "probe/tools/selection.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "console/error.h"
#include "probe/interface/names.h"

namespace pcsim::probe {
namespace {

constexpr uint64_t kLast = std::numeric_limits<uint64_t>::max();

[[noreturn]] void refuse(std::string_view item) {
    fail("'{}' selects no calls; expected numbers and names, for example: 5,100-200,@pcSimIpAdj*",
         item);
}

uint64_t numberOf(std::string_view text, uint64_t otherwise, std::string_view item) {
    if (text.empty()) return otherwise;
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) refuse(item);
    return number;
}

}  // namespace

Selection::Selection(std::string_view text) {
    for (bool more = true; more;) {
        const size_t comma = text.find(',');
        const std::string_view item = text.substr(0, comma);
        more = comma != std::string_view::npos;
        text.remove_prefix(more ? comma + 1 : text.size());
        if (item.size() > 1 && item[0] == '@') {
            names_.emplace_back(item.substr(1));
            continue;
        }
        const size_t dash = item.find('-');
        if (item.empty() || item == "-") refuse(item);
        const uint64_t first = numberOf(item.substr(0, dash), 0, item);
        const uint64_t last =
            dash == std::string_view::npos ? first : numberOf(item.substr(dash + 1), kLast, item);
        if (last < first) refuse(item);
        ranges_.push_back({first, last});
    }
}

bool Selection::has(const Recording& recording, const Event& call) const {
    if (ranges_.empty() && names_.empty()) return true;
    const RecordedSite& site = recording.siteOf(call);
    const auto named = [&](const std::string& name) {
        static constexpr Function kUnknown{};
        return goesBy(name, {site.name, site.table, site.word,
                             site.function != nullptr ? site.function : &kUnknown});
    };
    return std::ranges::any_of(ranges_,
                               [&](const Range& range) {
                                   return range.first <= call.call && call.call <= range.last;
                               }) ||
           std::ranges::any_of(names_, named);
}

}  // namespace pcsim::probe
