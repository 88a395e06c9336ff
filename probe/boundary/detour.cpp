// The long way of a call: through the observers, with its time, with what is handed over.
#include <bit>
#include <cerrno>
#include <ctime>

#include "probe/boundary/boundary.h"
#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

std::atomic<uint32_t> lastThread;

// A sum of 64 bits in two halves: this processor adds to one of 32 bits in a fifth of the time. Who
// looks at both in the moment of a carry sees the sum from before it.
struct Halves {
    std::atomic<uint32_t> low, high;
};
static_assert(sizeof(Halves) == sizeof(std::atomic<uint64_t>));
Halves lastNumber;

uint64_t addOne(Halves& sum) {
    const uint32_t low = sum.low.fetch_add(1, std::memory_order_relaxed) + 1;
    if (low == 0) sum.high.fetch_add(1, std::memory_order_relaxed);
    return static_cast<uint64_t>(sum.high.load(std::memory_order_relaxed)) << 32 | low;
}

// As the stubs do it.
void count(std::atomic<uint64_t>& sum) {
    addOne(reinterpret_cast<Halves&>(sum));
}

constexpr uint32_t kDeepest = 64;  // calls inside one another that are told apart

// What a thread knows of its calls that are under way. A call that is left by longjmp says nothing,
// so each has a mark on the stack, which a later call that finds it gone forgets.
struct Thread {
    uint32_t number;
    uint32_t depth;
    const uintptr_t* marks[kDeepest];
    bool observing;
};
__thread Thread thread __attribute__((tls_model("initial-exec")));

class Depth {
public:
    Depth() {
        while (thread.depth > 0 && !isUnderWay(thread.marks[thread.depth - 1])) --thread.depth;
        here_ = thread.depth;
        mark_ = reinterpret_cast<uintptr_t>(&mark_);
        if (here_ < kDeepest) thread.marks[thread.depth++] = &mark_;
    }
    Depth(const Depth&) = delete;
    Depth& operator=(const Depth&) = delete;
    ~Depth() {
        *const_cast<volatile uintptr_t*>(&mark_) = 0;
        thread.depth = here_;
    }

    uint32_t around() const { return here_; }

private:
    // Stacks grow down: what lies below this is over. Anything may lie where a call has been left.
    __attribute__((noinline, no_sanitize("address"))) bool isUnderWay(const uintptr_t* mark) const {
        return mark > &mark_ && *mark == reinterpret_cast<uintptr_t>(mark);
    }

    uintptr_t mark_ = 0;
    uint32_t here_ = 0;
};

uint64_t nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<uint64_t>(now.tv_nsec);
}

// The words that the caller has given, as far as can be known.
uint32_t wordsOf(const Crossing& crossing, const Word* arguments) {
    const Function& function = *crossing.site.function;
    if (!function.variadic) return crossing.argumentWords;
    const size_t last = function.parameters.size() - 1;
    if (function.parameters[last].name != "format") return crossing.argumentWords + 1;
    return crossing.argumentWords + formatWords(reinterpret_cast<const char*>(arguments[last]));
}

void servePoll() {
    Inside& in = inside();
    if (in.poll == nullptr || *in.poll == 0 || in.serving.exchange(true)) return;
    thread.observing = true;
    in.serve();
    thread.observing = false;
    in.serving = false;
}

void countTime(Counts& counts, uint64_t spent) {
    counts.totalNs += spent;
    uint64_t longest = counts.longestNs;
    while (spent > longest && !counts.longestNs.compare_exchange_weak(longest, spent)) {
    }
}

void countResult(const Crossing& crossing, uint64_t result) {
    const Site& site = crossing.site;
    const auto code = static_cast<int32_t>(result);
    if (code < 0 && answersCodes(*site.function, site.side)) count(site.counts->failures);
    if (static_cast<Word>(result) == 0 && answersRecords(*site.function)) count(site.counts->nulls);
}

void runTarget(Crossing& crossing, Call& call) {
    const bool timed = (crossing.record->detours & kTimed) != 0;
    const uint64_t start = timed ? nanoseconds() : 0;
    errno = call.error;
    const auto& library = inside().library;
    call.result = pcsimProbeInvoke(crossing.record->target, call.arguments, call.argumentWords,
                                   library ? library->addressTable() : nullptr);
    call.error = errno;
    if (timed) countTime(*crossing.site.counts, nanoseconds() - start);
}

void observe(Crossing& crossing, Call& call) {
    const uint32_t watchers = crossing.watchers;
    Observer* called[kObservers];
    uint32_t calledCount = 0;
    thread.observing = true;
    for (uint32_t left = watchers; left != 0; left &= left - 1) {
        Observer* const observer = inside().observers[std::countr_zero(left)];
        if (observer == nullptr) continue;
        observer->before(call);
        called[calledCount++] = observer;
    }
    thread.observing = false;
    if (!call.answered) {
        runTarget(crossing, call);
        if (crossing.handsOver) handOut(crossing, call.arguments);
    }
    thread.observing = true;
    while (calledCount > 0) called[--calledCount]->after(call);
    thread.observing = false;
}

}  // namespace

extern "C" uint64_t pcsimProbeDetour(StubRecord* record, Word* arguments) {
    Crossing& crossing = *record->crossing;
    const int error = errno;
    count(crossing.site.counts->calls);
    if (!thread.observing) servePoll();
    if ((record->detours & kUnresolved) != 0) resolve(crossing);
    Shadow shadow;
    if (crossing.handsOver) handIn(crossing, arguments, shadow);
    Call call{.site = crossing.site,
              .arguments = arguments,
              .argumentWords = wordsOf(crossing, arguments)};
    call.error = error;
    if (thread.observing) {
        runTarget(crossing, call);
        if (crossing.handsOver) handOut(crossing, arguments);
    } else {
        if (thread.number == 0) thread.number = ++lastThread;
        const Depth depth;
        call.number = addOne(lastNumber);
        call.thread = thread.number;
        call.depth = depth.around();
        observe(crossing, call);
    }
    countResult(crossing, call.result);
    errno = call.error;
    return call.result;
}

}  // namespace pcsim::probe
