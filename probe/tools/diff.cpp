// pcsim-probe diff: holds two recordings against each other, call by call.
#include "probe/tools/diff.h"

#include <algorithm>
#include <limits>

#include "console/error.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/tool.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {
namespace {

constexpr Option kOptions[] = {
    kHelpOption,
    {.name = "keep-going", .letter = 'k', .help = "Go on behind the first call that differs"},
};

constexpr Program kProgram{
    .name = "pcsim-probe diff",
    .about = "pcsim-probe diff: compares two recordings, call by call.",
    .usage = "[--keep-going] FILE FILE",
    .onWord = nullptr,
    .options = kOptions,
};

class Diff {
public:
    Diff(const Recording& first, const Recording& second, bool keepGoing)
        : a_(first), b_(second), keepGoing_(keepGoing), treeA_(first), treeB_(second) {}

    std::vector<RunDifference> run() {
        size_t a = 0, b = 0;
        while (a < treeA_.units().size() && b < treeB_.units().size()) {
            const Step step = align(a, b);
            leaveOut(a, b, step);
            a += step.a;
            b += step.b;
            if (step.a + step.b != 0 && !keepGoing_) return std::move(found_);
            if (a == treeA_.units().size() || b == treeB_.units().size()) break;
            unit(treeA_.units()[a++], treeB_.units()[b++]);
            if (!found_.empty() && !keepGoing_) return std::move(found_);
        }
        leaveOut(a, b, {treeA_.units().size() - a, treeB_.units().size() - b});
        return std::move(found_);
    }

private:
    // So many units are only in the one, so many only in the other.
    struct Step {
        size_t a;
        size_t b;
    };

    const Event& first(const Recording& recording, const CallTree& tree, size_t unit) const {
        return recording.events[tree.units()[unit].events.front()];
    }
    std::string_view nameIn(const Recording& recording, const CallTree& tree, size_t unit) const {
        return unit < tree.units().size() ? recording.siteOf(first(recording, tree, unit)).name
                                          : std::string_view();
    }
    bool agree(size_t a, size_t b) const { return nameIn(a_, treeA_, a) == nameIn(b_, treeB_, b); }

    // The nearest place where both have the same two calls, one behind the other.
    Step align(size_t a, size_t b) const {
        constexpr size_t kFarthest = 200;
        if (agree(a, b)) return {0, 0};
        for (size_t far = 1; far <= kFarthest; ++far)
            for (size_t inA = 0; inA <= far; ++inA) {
                const Step step{inA, far - inA};
                const bool inside =
                    a + step.a < treeA_.units().size() && b + step.b < treeB_.units().size();
                if (inside && agree(a + step.a, b + step.b) &&
                    agree(a + step.a + 1, b + step.b + 1))
                    return step;
            }
        return {treeA_.units().size() - a, treeB_.units().size() - b};
    }

    void leaveOut(size_t a, size_t b, const Step& step) {
        const size_t rows = keepGoing_ ? step.a + step.b : std::min<size_t>(step.a + step.b, 1);
        for (size_t row = 0; row < rows; ++row) {
            RunDifference difference{.field = "call"};
            const bool inA = row < step.a;
            const bool both = !keepGoing_ && step.a != 0 && step.b != 0;
            difference.first = difference.second = "no call";
            if (inA) {
                difference.call = first(a_, treeA_, a + row).call;
                difference.first = nameIn(a_, treeA_, a + row);
            }
            if (!inA || both) {
                const size_t unit = inA ? b : b + row - step.a;
                difference.other = first(b_, treeB_, unit).call;
                difference.second = nameIn(b_, treeB_, unit);
            }
            difference.operation = inA ? difference.first : difference.second;
            found_.push_back(std::move(difference));
        }
    }

    std::string toldOf(const Recording& recording, const Unit& unit, size_t index) const {
        if (index >= unit.events.size()) return "the end of the call";
        const Event& event = recording.events[unit.events[index]];
        switch (event.kind) {
            case Event::Kind::kCall:
                return "call of " + recording.siteOf(event).name;
            case Event::Kind::kReturn:
                return "return of " + recording.siteOf(event).name;
            default:
                return "print";
        }
    }

    void unit(const Unit& a, const Unit& b) {
        for (size_t index = 0; index < std::max(a.events.size(), b.events.size()); ++index) {
            const std::string inA = toldOf(a_, a, index), inB = toldOf(b_, b, index);
            if (inA != inB) {
                const Event& around = a_.events[a.events.front()];
                const auto& at = a_.events[a.events[std::min(index, a.events.size() - 1)]];
                const auto& other = b_.events[b.events[std::min(index, b.events.size() - 1)]];
                found_.push_back({at.call, other.call, a_.siteOf(around).name, "order", inA, inB});
                return;
            }
            comparison_.compare(a_.events[a.events[index]], b_.events[b.events[index]]);
        }
    }

    const Recording& a_;
    const Recording& b_;
    bool keepGoing_;
    CallTree treeA_;
    CallTree treeB_;
    std::vector<RunDifference> found_;
    RunComparison comparison_{a_, b_, found_};
};

std::string told(const RunDifference& difference) {
    const std::string number = difference.call == difference.other || difference.other == 0
                                   ? std::to_string(difference.call)
                               : difference.call == 0
                                   ? fmt::format("{} (second)", difference.other)
                                   : fmt::format("{} ({})", difference.call, difference.other);
    return fmt::format("call {} {}: {}: {}, then {}\n", number, difference.operation,
                       difference.field, difference.first, difference.second);
}

}  // namespace

std::vector<RunDifference> differencesOf(const Recording& first, const Recording& second,
                                         bool keepGoing) {
    return Diff(first, second, keepGoing).run();
}

int diffCommand(const Words& words) {
    const GivenOptions given = readTool(kProgram, words, 2, "two recordings");
    if (given.has("help")) return 0;
    const Loaded first = loadSaying(given.command[0]);
    const Loaded second = loadSaying(given.command[1]);
    const auto found = differencesOf(first.recording, second.recording, given.has("keep-going"));
    std::string text;
    for (const RunDifference& each : found) text += told(each);
    if (found.empty()) text = fmt::format("{} calls, no difference\n", first.recording.calls());
    printText(text);
    return found.empty() && first.whole && second.whole ? 0 : 1;
}

}  // namespace pcsim::probe
