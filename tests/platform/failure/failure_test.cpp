// Failure everywhere: for each scenario and each kind of call, the first, the second, ... call
// fails, once and from then on for ever, until the scenario has come to its end without it.
//
// Each run is a process of its own with a fresh library. It stops where the contract says so and
// nowhere else, has left nothing behind once everything has been given back, and the next time the
// same scenario goes as it does on a fresh library.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "tests/platform/failure/run.h"
#include "tests/platform/failure/scenarios.h"
#include "tests/support/libc.h"
#include "tests/support/tree.h"

namespace pcsim::test {
namespace {

struct FailingCall {
    Call call;
    const char* name;
    Countdown& (*countdown)();
};

const FailingCall kCalls[] = {
    {kAllocation, "Allocation", []() -> Countdown& { return libc().allocation; }},
    {kTreeInsert, "TreeInsert", []() -> Countdown& { return tree().refusals; }},
    {kOpen, "Open", []() -> Countdown& { return libc().open; }},
    {kRead, "Read", []() -> Countdown& { return libc().read; }},
    {kSocket, "Socket", []() -> Countdown& { return libc().socket; }},
    {kRequest, "Request", []() -> Countdown& { return libc().request; }},
};

// Where the contract lets the process stop. Each row is met by a run.
struct Stop {
    const char* scenario;
    Call call;
    const char* step;
    int signal;
    const char* says;
    const char* why;
};

constexpr char kNoAdjacency[] = "a next hop without an adjacency can't be forwarded to";
constexpr char kNoNode[] = "an exhausted heap stops the multicast database";

const Stop kStops[] = {
    {"Ipv4", kAllocation, "ipv4FibAddEntry", SIGILL, "", kNoAdjacency},
    {"Ipv4", kAllocation, "ipv4FibReplaceEntry", SIGILL, "", kNoAdjacency},
    {"Ipv4", kTreeInsert, "ipv4FibAddEntry", SIGILL, "", kNoAdjacency},
    {"Ipv4", kTreeInsert, "ipv4FibReplaceEntry", SIGILL, "", kNoAdjacency},
    {"Multicast", kAllocation, "ipv4McHwCacheAdd", SIGABRT, "pcSimIPv4McDb.c", kNoNode},
    {"Multicast", kAllocation, "ipv4McHwCacheOifPortAdd", SIGABRT, "pcSimIPv4McDb.c", kNoNode},
};

// Failures that nobody sees, because what has failed only makes the platform quicker or is tried
// again. Each row is met by a run.
struct Unseen {
    const char* scenario;
    Call call;
    const char* why;
};

const Unseen kUnseen[] = {
    {"System", kAllocation, "without buckets for multicast the first add of a cache fails"},
    {"System", kRequest, "the count of interfaces ends at one that isn't there"},
    {"Ports", kRequest, "the state of a port is what the host wants, however the PHY takes it"},
    {"Ports", kRead, "a port that has no line in the table of counters keeps its counters"},
    {"Multicast", kTreeInsert, "a cache lives without the interface that its packets arrive on"},
    {"AccessLists", kAllocation, "long lists have an index, and are walked without one"},
};

constexpr uint32_t kLimit = 2000;  // no scenario makes that many calls of a kind

struct Failure {
    const Scenario& scenario;
    const FailingCall& call;
    uint32_t n;
    bool forEver;
};

// What a scenario is like on a fresh library.
struct Reference {
    std::vector<std::string> lines;
    std::multiset<size_t> blocks;  // that stay
    int descriptors;
};

std::string texts(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + '\n';
    return text;
}

std::string sizes(const std::multiset<size_t>& blocks) {
    std::string text;
    for (const size_t size : blocks) text += ' ' + std::to_string(size);
    return text;
}

// The first line that is different.
std::string difference(const std::vector<std::string>& expected,
                       const std::vector<std::string>& actual) {
    for (size_t i = 0; i < expected.size() || i < actual.size(); ++i) {
        const std::string wanted = i < expected.size() ? expected[i] : "nothing";
        const std::string got = i < actual.size() ? actual[i] : "nothing";
        if (wanted != got) return "line " + std::to_string(i) + ": " + got + ", not " + wanted;
    }
    return "";
}

// What a child has to say about its run, empty when all was as it must be.
class Child {
public:
    Child(const Scenario& scenario, Progress& progress) : scenario_(scenario), progress_(progress) {
        libc().blockSizes = &blockSizes_;
        printed_.replace(STDOUT_FILENO);
        scenario_.prepare();
        before_ = keptNow();
        printed_.next();
    }

    // Drives the scenario, with that failure, gives everything back, and returns what was seen.
    Run drive(const Failure* failure) {
        Run run(scenario_, progress_, printed_);
        if (failure != nullptr) {
            Countdown& countdown = failure->call.countdown();
            countdown = {.next = failure->n, .forEver = failure->forEver};
            scenario_.drive(run);
            progress_.failed = countdown.failed;
            countdown = {};
        } else {
            scenario_.drive(run);
        }
        std::snprintf(progress_.step, sizeof progress_.step, "giving back");
        scenario_.clear();
        printed_.next();
        return run;
    }

    // Since the last call.
    Kept kept() {
        const Kept now = keptNow();
        const Kept more = {since(before_.blocks, now.blocks),
                           now.descriptors - before_.descriptors};
        before_ = now;
        return more;
    }

private:
    const Scenario& scenario_;
    Progress& progress_;
    MemoryFile printed_;
    std::map<void*, size_t> blockSizes_;
    Kept before_;
};

// How a process has ended, and what it has written.
struct Ending {
    int status;
    std::string text;
};

Ending inChild(const std::function<std::string()>& work) {
    MemoryFile said;
    const pid_t child = fork();
    if (child == 0) {
        said.replace(STDERR_FILENO);
        said.write(work());
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {status, said.next()};
}

Progress& sharedProgress() {
    static void* const page =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& progress = *static_cast<Progress*>(page);
    progress = {};
    return progress;
}

// Driven twice, a scenario goes the same.
std::string describe(const Scenario& scenario) {
    Child child(scenario, sharedProgress());
    const Run first = child.drive(nullptr);
    const Kept kept = child.kept();
    const Run second = child.drive(nullptr);
    if (const std::string other = difference(first.lines(), second.lines()); !other.empty())
        return "! the second time " + other;
    return std::to_string(kept.descriptors) + sizes(kept.blocks) + '\n' + texts(first.lines());
}

std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

Reference referenceOf(const Scenario& scenario) {
    const Ending ending = inChild([&] { return describe(scenario); });
    EXPECT_EQ(ending.status, 0) << ending.text;
    EXPECT_FALSE(ending.text.starts_with("!")) << ending.text;
    Reference reference{split(ending.text), {}, 0};
    std::istringstream kept(reference.lines.empty() ? "" : reference.lines.front());
    kept >> reference.descriptors;
    for (size_t size; kept >> size;) reference.blocks.insert(size);
    if (!reference.lines.empty()) reference.lines.erase(reference.lines.begin());
    return reference;
}

// What is wrong with a run; "unseen" when nothing is, and nobody could tell.
std::string judge(const Failure& failure, const Reference& reference, Progress& progress) {
    Child child(failure.scenario, progress);
    const Run failed = child.drive(&failure);
    const Kept kept = child.kept();
    if (progress.failed == 0) return "";
    if (!failed.changedByFailures().empty())
        return failed.changedByFailures().front() + " has failed and changed something";
    if (const auto more = since(reference.blocks, kept.blocks); !more.empty())
        return "blocks are left behind:" + sizes(more);
    if (kept.descriptors > reference.descriptors) return "a file or socket is left open";
    const Run healthy = child.drive(nullptr);
    if (const auto other = difference(reference.lines, split(texts(healthy.lines())));
        !other.empty())
        return "the next time " + other;
    if (const auto more = since(reference.blocks, child.kept().blocks); !more.empty())
        return "the next time blocks are left behind:" + sizes(more);
    return split(texts(failed.lines())) == reference.lines ? "unseen" : "";
}

class FailureTest : public testing::TestWithParam<std::tuple<size_t, size_t>> {
protected:
    const Scenario& scenario = scenarios()[std::get<0>(GetParam())];
    const FailingCall& call = kCalls[std::get<1>(GetParam())];
    std::set<const void*> rowsMet;

    bool isOurs(const char* name, Call rowCall) const {
        return scenario.name == std::string(name) && call.call == rowCall;
    }
    void expectStop(int signal, const std::string& step, const std::string& said);
    void expectUnseen();
    bool runOnce(const Failure& failure, const Reference& reference);
    void expectAllRowsMet();
};

void FailureTest::expectStop(int signal, const std::string& step, const std::string& said) {
    for (const Stop& stop : kStops) {
        if (!isOurs(stop.scenario, stop.call) || step != stop.step || signal != stop.signal)
            continue;
        EXPECT_NE(said.find(stop.says), std::string::npos) << said;
        rowsMet.insert(&stop);
        return;
    }
    ADD_FAILURE() << "stops with signal " << signal << " in " << step << ": " << said;
}

void FailureTest::expectUnseen() {
    for (const Unseen& row : kUnseen) {
        if (!isOurs(row.scenario, row.call)) continue;
        rowsMet.insert(&row);
        return;
    }
    ADD_FAILURE() << "nobody could see it";
}

// Whether the call was reached.
bool FailureTest::runOnce(const Failure& failure, const Reference& reference) {
    Progress& progress = sharedProgress();
    const Ending ending = inChild([&] { return judge(failure, reference, progress); });
    if (WIFSIGNALED(ending.status)) {
        expectStop(WTERMSIG(ending.status), progress.step, ending.text);
        return true;
    }
    EXPECT_EQ(ending.status, 0) << ending.text;
    if (ending.text == "unseen")
        expectUnseen();
    else
        EXPECT_EQ(ending.text, "");
    return progress.failed != 0;
}

void FailureTest::expectAllRowsMet() {
    for (const Stop& stop : kStops) {
        if (!isOurs(stop.scenario, stop.call)) continue;
        EXPECT_TRUE(rowsMet.contains(&stop)) << "no run stops in " << stop.step;
    }
    for (const Unseen& row : kUnseen) {
        if (!isOurs(row.scenario, row.call)) continue;
        EXPECT_TRUE(rowsMet.contains(&row)) << "no failure is unseen: " << row.why;
    }
}

TEST_P(FailureTest, EachCall) {
    const Reference reference = referenceOf(scenario);
    if (HasFailure()) return;
    uint32_t n = 1;
    for (; n < kLimit && !HasFailure(); ++n) {
        SCOPED_TRACE("call " + std::to_string(n));
        const bool once = runOnce({scenario, call, n, false}, reference);
        const bool forEver = runOnce({scenario, call, n, true}, reference);
        EXPECT_EQ(once, forEver);
        if (!once) break;
    }
    EXPECT_LT(n, kLimit);
    EXPECT_EQ(n > 1, (scenario.reaches & call.call) != 0) << n - 1 << " calls were reached";
    expectAllRowsMet();
}

INSTANTIATE_TEST_SUITE_P(Of, FailureTest,
                         testing::Combine(testing::Range(size_t{0}, scenarios().size()),
                                          testing::Range(size_t{0}, std::size(kCalls))),
                         [](const auto& of) {
                             return std::string(scenarios()[std::get<0>(of.param)].name) +
                                    kCalls[std::get<1>(of.param)].name;
                         });

}  // namespace
}  // namespace pcsim::test
