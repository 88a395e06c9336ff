// Going back.
#include "host/state/restore.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include "console/error.h"

namespace pcsim::host {

namespace {

// What goes with something else, or comes with it, is put right in the second; routes to neighbors
// and lists that were deleted may take a third.
constexpr unsigned kMostWays = 4;

// Both states, held against each other.
struct Comparison {
    std::vector<std::string> undo;          // of what is too much, in its order
    std::vector<std::string_view> missing;  // parts of the target
    uint64_t extra = 0;
};

class Restorer {
public:
    Restorer(const StateText& target, const RestoreParts& parts)
        : target_(target), parts_(parts), wanted_(target.parts()) {
        index_.reserve(wanted_.size());
        for (uint32_t i = 0; i < wanted_.size(); ++i) index_.try_emplace(wanted_[i], i);
    }

    Comparison compare() const {
        Comparison result;
        std::vector<bool> found(wanted_.size());
        PartReader reader([&](const PartReader::Part& part) {
            const auto known = index_.find(part.lines);
            if (known != index_.end()) {
                found[known->second] = true;
                return;
            }
            // What will be replaced need not go before.
            ++result.extra;
            if (!part.undo.empty() && !(part.replaces && target_.replaces(part.undo)))
                result.undo.push_back(part.undo);
        });
        parts_.tell(reader);
        reader.finish();
        for (uint32_t i = 0; i < wanted_.size(); ++i)
            if (!found[i]) result.missing.push_back(wanted_[i]);
        return result;
    }

    Restored run() {
        Comparison now = compare();
        if ((now.extra != 0 || !now.missing.empty()) && parts_.begin()) now = compare();
        for (unsigned way = 0; way < kMostWays && (now.extra != 0 || !now.missing.empty()); ++way) {
            result_.problems.clear();
            result_.problemCount = 0;
            for (auto undo = now.undo.rbegin(); undo != now.undo.rend(); ++undo)
                runLines(*undo, result_.undone);
            const bool looks = !now.undo.empty() && !result_.interrupted;
            const auto missing = looks ? compare().missing : now.missing;
            for (const std::string_view part : missing) runLines(part, result_.made);
            Comparison next = compare();
            const bool stuck = next.undo == now.undo && next.missing == now.missing;
            now = std::move(next);
            if (stuck || result_.interrupted) break;
        }
        result_.extra = now.extra;
        result_.missing = now.missing.size();
        return std::move(result_);
    }

private:
    void runLines(std::string_view lines, uint64_t& count) {
        forEachLine(lines, [&](std::string_view line) {
            // A comment tells what no line makes.
            if (result_.interrupted || line.starts_with('#')) return;
            result_.interrupted = parts_.interrupted();
            if (result_.interrupted) return;
            try {
                parts_.run(line);
                ++count;
            } catch (const CommandError& error) {
                ++result_.problemCount;
                if (result_.problems.size() < Restored::kMostProblems)
                    result_.problems.push_back({std::string(line), error.what()});
            }
        });
    }

    const StateText& target_;
    const RestoreParts& parts_;
    std::vector<std::string_view> wanted_;
    boost::unordered_flat_map<std::string_view, uint32_t> index_;
    Restored result_;
};

}  // namespace

Restored restoreState(const StateText& target, const RestoreParts& parts) {
    return Restorer(target, parts).run();
}

}  // namespace pcsim::host
