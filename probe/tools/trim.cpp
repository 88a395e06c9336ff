// pcsim-probe trim: keeps what is named, and what it needs.
#include "probe/tools/trim.h"

#include <algorithm>
#include <map>

#include "console/error.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/needs.h"
#include "probe/tools/tool.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {
namespace {

constexpr Option kOptions[] = {
    kHelpOption,
    {.name = "calls",
     .value = "CALLS",
     .help = "What to keep: 100-200,@pcSimIpAdj*",
     .need = "numbers and names of calls, for example 100-200,@pcSimIpAdj*",
     .takes = Takes::Name},
    {.name = "output",
     .letter = 'o',
     .value = "FILE",
     .help = "Where to write it; else FILE.trimmed",
     .need = "a file",
     .takes = Takes::Name},
};

constexpr Program kProgram{
    .name = "pcsim-probe trim",
    .about = "pcsim-probe trim: keeps the calls that are named, and what they need.",
    .usage = "FILE --calls CALLS [-o FILE]",
    .onWord = nullptr,
    .options = kOptions,
};

// Everything rests on the initialisation, whatever its words were for.
bool initialises(const RecordedSite& site) {
    return site.name.ends_with("ystemInit") && site.side == Side::kPlatform;
}

// Descriptors that a unit leaves open are the library's from then on: it asks for no other ones.
class OpenDescriptors {
public:
    explicit OpenDescriptors(const Recording& recording) : recording_(recording) {}

    void note(const Event& event, uint32_t unit) {
        const RecordedSite& site = recording_.siteOf(event);
        if (site.side != Side::kSystem) return;
        const bool returns = event.kind == Event::Kind::kReturn;
        const auto result = static_cast<int32_t>(event.result);
        if (returns && result >= 0 && (site.name == "socket" || site.name == "open"))
            open_[static_cast<uint32_t>(result)] = unit;
        if (!returns && site.name == "close" && !event.arguments.empty())
            open_.erase(event.arguments[0]);
    }
    // The units that have opened what is open.
    const std::map<uint32_t, uint32_t>& units() const { return open_; }

private:
    const Recording& recording_;
    std::map<uint32_t, uint32_t> open_;  // descriptor: unit
};

}  // namespace

Recording trimmed(const Recording& recording, const Selection& selection) {
    const CallTree tree(recording);
    std::vector<bool> kept(tree.units().size());
    std::vector<bool> initial(kept.size());
    bool any = false;
    OpenDescriptors descriptors(recording);
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const Event& event = recording.events[index];
        const uint32_t unit = tree.unitOf(index);
        if (event.kind == Event::Kind::kPrint || unit == CallTree::kNone) continue;
        descriptors.note(event, unit);
        if (event.kind != Event::Kind::kCall) continue;
        if (initialises(recording.siteOf(event))) initial[unit] = true;
        if (!selection.has(recording, event)) continue;
        kept[unit] = any = true;
    }
    if (!any) return recording.withoutEvents();
    const auto last =
        kept.size() - 1 -
        static_cast<size_t>(std::ranges::find(kept.rbegin(), kept.rend(), true) - kept.rbegin());
    for (const auto& [descriptor, unit] : descriptors.units()) initial[unit] = true;
    for (size_t unit = 0; unit < last; ++unit) kept[unit] = kept[unit] || initial[unit];
    Needs(recording, tree, Needs::Of::kFunctions).close(kept);
    return onlyUnits(recording, tree, kept);
}

int trimCommand(const Words& words) {
    const GivenOptions given = readTool(kProgram, words, 1, "a recording");
    if (given.has("help")) return 0;
    if (!given.has("calls"))
        throw OptionProblem(
            "expected --calls with what to keep, for example: "
            "--calls 100-200,@pcSimIpAdj*");
    const Selection selection(given.text("calls"));
    const std::string& path = given.command.front();
    const Loaded loaded = loadSaying(path);
    const Recording part = trimmed(loaded.recording, selection);
    if (part.events.empty())
        fail("recording {} has none of the calls {}; 'pcsim-probe show' lists what it has", path,
             given.text("calls"));
    const std::string output = given.text("output", path + ".trimmed");
    save(part, output);
    printText(
        fmt::format("{} of {} calls kept in {}\n", part.calls(), loaded.recording.calls(), output));
    return loaded.whole ? 0 : 1;
}

}  // namespace pcsim::probe
