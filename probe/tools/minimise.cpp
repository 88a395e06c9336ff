// pcsim-probe minimise: a bug report of ten lines out of a day's run.
#include <cstring>
#include <ctime>

#include "console/error.h"
#include "console/text.h"
#include "probe/replay/replay.h"
#include "probe/tools/reduction.h"
#include "probe/tools/teller.h"
#include "probe/tools/tool.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {
namespace {

constexpr Option kOptions[] = {
    kHelpOption,
    {.name = "library",
     .letter = 'l',
     .value = "FILE",
     .help = "The library that behaves otherwise",
     .need = "a library",
     .takes = Takes::Name},
    {.name = "output",
     .letter = 'o',
     .value = "FILE",
     .help = "Where to write it; else FILE.minimal",
     .need = "a file",
     .takes = Takes::Name},
    {.name = "time",
     .value = "SECONDS",
     .help = "How long to look for a smaller one; else 100",
     .need = "seconds from 1 to 86400",
     .takes = Takes::Number,
     .low = 1,
     .high = 86400},
};

constexpr Program kProgram{
    .name = "pcsim-probe minimise",
    .about = "pcsim-probe minimise: finds a smallest recording that a library still fails.",
    .usage = "FILE --library LIBRARY [-o FILE] [--time SECONDS]",
    .onWord = nullptr,
    .options = kOptions,
};

constexpr unsigned kSeconds = 100;
constexpr uint32_t kFirstLimitMs = 60000;

uint64_t nowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

// What a replay comes to: the same one is what smaller recordings are to show.
struct Symptom {
    uint64_t call = 0;
    std::string operation;
    std::string field;  // "" for a crash or a hang
    std::string expected;
    std::string seen;
    int signal = 0;
    bool hangs = false;

    // Values that are addresses are others in each run, so they are compared when they weren't.
    bool isSame(const Symptom& other, bool values) const {
        return operation == other.operation && field == other.field && signal == other.signal &&
               hangs == other.hangs &&
               (!values || (expected == other.expected && seen == other.seen));
    }
    bool isNone() const { return operation.empty(); }
    std::string text() const {
        if (hangs) return fmt::format("call {} {} doesn't end", call, operation);
        if (signal != 0)
            return fmt::format("call {} {} crashes: {}", call, operation, strsignal(signal));
        return Difference{call, operation, field, expected, seen}.text();
    }
};

Symptom symptomOf(const ChildResult& child) {
    if (!child.error.empty()) fail("{}", child.error);
    if (!child.result.differences.empty()) {
        const Difference& first = child.result.differences.front();
        return {first.call, first.operation, first.field, first.expected, first.seen};
    }
    if (child.signal == 0 && !child.timedOut) return {};
    return {child.call, child.operation, "", "", "", child.signal, child.timedOut};
}

class Minimiser {
public:
    Minimiser(std::string library, unsigned seconds) : seconds_(seconds) {
        options_.library = std::move(library);
    }

    Recording run(const Recording& recording) {
        const uint64_t begin = nowMs();
        symptom_ = symptomOf(replayInChild(recording, options_, kFirstLimitMs));
        if (symptom_.isNone()) return recording.withoutEvents();
        const uint64_t took = nowMs() - begin;
        limitMs_ = static_cast<uint32_t>(symptom_.hangs ? 2000 : took * 3 + 1000);
        const Symptom again = symptomOf(replayInChild(recording, options_, kFirstLimitMs));
        values_ = again.isSame(symptom_, true);
        const uint64_t end = begin + uint64_t{seconds_} * 1000;
        const auto shows = [&](const Recording& part) {
            const ChildResult child = replayInChild(part, options_, limitMs_);
            return child.error.empty() && symptomOf(child).isSame(symptom_, values_);
        };
        Reduction reduction(recording, shows, [end] { return nowMs() < end; });
        Recording found = reduction.upTo(symptom_.call);
        attempts_ = reduction.attempts();
        return found;
    }

    const Symptom& symptom() const { return symptom_; }
    uint32_t attempts() const { return attempts_; }

private:
    ReplayOptions options_;
    unsigned seconds_;
    uint32_t limitMs_ = kFirstLimitMs;
    Symptom symptom_;
    bool values_ = true;
    uint32_t attempts_ = 0;
};

uint64_t outermostCalls(const Recording& recording) {
    return CallTree(recording).units().size();
}

}  // namespace

int minimiseCommand(const Words& words) {
    const GivenOptions given = readTool(kProgram, words, 1, "a recording");
    if (given.has("help")) return 0;
    if (!given.has("library"))
        throw OptionProblem(
            "expected --library with the build that behaves "
            "otherwise");
    const std::string& path = given.command.front();
    const Loaded loaded = loadSaying(path);
    Minimiser minimiser(given.text("library"), given.number("time", kSeconds));
    const Recording found = minimiser.run(loaded.recording);
    if (minimiser.symptom().isNone())
        fail("{} shows no difference with {}: there is nothing to look for", path,
             given.text("library"));
    const std::string output = given.text("output", path + ".minimal");
    save(found, output);
    std::string text = scriptOf(found);
    text += minimiser.symptom().text() + "\n";
    text += fmt::format("{} of {} calls, in {}; {}\n", outermostCalls(found),
                        outermostCalls(loaded.recording), output,
                        counted(minimiser.attempts(), "replay", "replays"));
    printText(text);
    return loaded.whole ? 0 : 1;
}

}  // namespace pcsim::probe
