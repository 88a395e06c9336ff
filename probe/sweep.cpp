// The search: which calls, how many runs at a time, and what their ends mean.
#include "probe/sweep.h"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>

#include "console/error.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kFirstLimitMs = 600'000;
constexpr uint32_t kTimesAsLong = 10, kLongerMs = 5'000;
constexpr int kCannotStart = 126;  // and 127

// A folder for the files of all runs, removed with them.
class Scratch {
public:
    Scratch() {
        const char* const temporary = getenv("TMPDIR");
        path_ = std::string(temporary != nullptr ? temporary : "/tmp") + "/pcsim-sweep.XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) fail("{} can't be made: {}", path_, strerror(errno));
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    std::string folder(size_t number) const { return path_ + "/" + std::to_string(number); }

private:
    std::string path_;
};

void rest() {
    const timespec moment{.tv_sec = 0, .tv_nsec = 2'000'000};
    nanosleep(&moment, nullptr);
}

Outcome runAlone(const Words& command, const std::string& folder, uint32_t limitMs,
                 const std::function<bool()>& goOn) {
    Trial trial(command, "", folder, limitMs);
    while (!trial.ended()) {
        if (!goOn()) fail("the search was ended");
        rest();
    }
    return trial.outcome();
}

void addSites(std::vector<CallSite>& sites, const std::map<std::string, Counted>& side,
              const SweepOptions& options) {
    for (const auto& [operation, counted] : side) {
        if (!options.only.empty() && fnmatch(options.only.c_str(), operation.c_str(), 0) != 0)
            continue;
        const uint64_t most =
            options.calls == 0 ? counted.calls : std::min<uint64_t>(counted.calls, options.calls);
        for (uint64_t nth = 1; nth <= most; ++nth) sites.push_back({operation, nth});
    }
}

uint64_t callsOf(const CoverageData& data, const std::string& operation) {
    for (const auto* const side : {&data.platform, &data.host})
        if (const auto found = side->find(operation); found != side->end())
            return found->second.calls;
    return 0;
}

void judge(SweepResult& result, const CallSite& site, Outcome outcome, const Outcome& first) {
    ++result.runs;
    const bool cannotStart = outcome.status >= kCannotStart && outcome.status != first.status;
    if (outcome.ending != Ending::kOrderly || cannotStart) {
        result.found.push_back({site, std::move(outcome)});
        return;
    }
    if (callsOf(outcome.coverage, site.operation) < site.nth)
        ++result.notReached;
    else if (outcome.status == first.status)
        ++result.unmoved;
    else
        ++result.errors;
}

// Several runs at a time, begun in the order of their sites.
class Workers {
public:
    Workers(const Words& command, const Scratch& scratch, uint32_t limitMs, size_t count)
        : command_(command), scratch_(scratch), limitMs_(limitMs), places_(count) {}

    // Takes an outcome to 'judged' for each site, until 'goOn' ends it.
    template <typename Judged, typename GoOn>
    void run(const std::vector<CallSite>& sites, Judged judged, GoOn goOn) {
        size_t next = 0, done = 0;
        while (done < sites.size()) {
            for (size_t i = 0; i < places_.size(); ++i) {
                Place& place = places_[i];
                if (place.trial != nullptr && place.trial->ended()) {
                    judged(sites[place.site], place.trial->outcome());
                    place.trial.reset();
                    ++done;
                }
                if (place.trial != nullptr || next == sites.size()) continue;
                place.site = next++;
                place.trial = std::make_unique<Trial>(command_, sites[place.site].rule() + "\n",
                                                      scratch_.folder(i), limitMs_);
            }
            if (!goOn(done)) return;
            rest();
        }
    }

private:
    struct Place {
        std::unique_ptr<Trial> trial;
        size_t site = 0;
    };

    const Words& command_;
    const Scratch& scratch_;
    uint32_t limitMs_;
    std::vector<Place> places_;
};

}  // namespace

std::string CallSite::rule() const {
    if (nth == 1) return "fault " + operation + " count 1";
    return fmt::format("fault {} after {} count 1", operation, nth - 1);
}

std::vector<CallSite> callSitesOf(const CoverageData& counted, const SweepOptions& options) {
    std::vector<CallSite> all, some;
    addSites(all, counted.platform, options);
    if (options.host) addSites(all, counted.host, options);
    for (size_t i = 0; i < all.size(); i += options.every) some.push_back(all[i]);
    return some;
}

SweepResult sweep(const Words& command, const SweepOptions& options,
                  const std::function<bool(size_t done, size_t all)>& progress) {
    const Scratch scratch;
    const Outcome first =
        runAlone(command, scratch.folder(0), options.limitMs != 0 ? options.limitMs : kFirstLimitMs,
                 [&] { return progress(0, 0); });
    const bool called = !first.coverage.platform.empty();
    if (first.ending != Ending::kOrderly || !called)
        fail("without a failing call, the command {}{}{}", textOf(first),
             called ? "" : " and has called nothing",
             first.lastLine.empty() ? "" : ": " + first.lastLine);
    const std::vector<CallSite> sites = callSitesOf(first.coverage, options);
    SweepResult result;
    for (const auto& [operation, counted] : first.coverage.platform) result.calls += counted.calls;
    const uint32_t limitMs =
        options.limitMs != 0 ? options.limitMs : kTimesAsLong * first.tookMs + kLongerMs;
    Workers workers(command, scratch, limitMs, options.workers);
    workers.run(
        sites,
        [&](const CallSite& site, Outcome outcome) {
            judge(result, site, std::move(outcome), first);
        },
        [&](size_t done) { return progress(done, sites.size()); });
    result.left = sites.size() - result.runs;
    std::ranges::stable_sort(result.found, [](const Finding& a, const Finding& b) {
        return std::tie(a.site.operation, a.site.nth) < std::tie(b.site.operation, b.site.nth);
    });
    return result;
}

}  // namespace pcsim::probe
