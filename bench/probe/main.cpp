// What the probe adds to a call.
//
//   bench_probe [ROUNDS [LOADS]]
//
// The same calls are made bare and through their stubs, in turn, in one run: of the HAL into the
// platform, with and without arguments, and of the platform into the HAL. Then a full IPv4 table is
// loaded. A run that doesn't count every call fails.
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/machine.h"
#include "bench/probe/load.h"
#include "pcsim/card_slot.h"
#include "pcsim/env.h"
#include "pcsim/host.h"
#include "pcsim/system.h"
#include "probe/boundary/boundary.h"
#include "probe/rules/rules.h"

extern "C" int32_t getSystemMac(uint8_t*, int32_t) {
    return 0;
}

namespace {

using pcsim::probe::Boundary;

constexpr int kCallsPerRound = 20000;

// Looks at each call and does nothing.
class Onlooker : public pcsim::probe::Observer {
public:
    bool wants(const pcsim::probe::Site& site) const override {
        return on && site.name == "pcSimModuleIoctl";
    }
    void before(pcsim::probe::Call&) override {}
    void after(pcsim::probe::Call&) override {}
    bool on = false;
};

pcsim::probe::Rules rules;
Onlooker onlooker;

HalModuleIoctlFn* moduleIoctl;
HalStubFn* nothing;
HalChassisGetInfoFn* chassisInfo;
HalChassisInfo chassis;

void callModule() {
    for (int i = 0; i < kCallsPerRound; ++i) moduleIoctl(0, 77, nullptr);
}
void callNothing() {
    for (int i = 0; i < kCallsPerRound; ++i) nothing(1, 2);
}
// One call into the HAL inside each.
void callChassis() {
    for (int i = 0; i < kCallsPerRound; ++i) chassisInfo(&chassis);
}

// --- What stands between ---

enum class Probe { kNone, kCounting, kRule, kOnlooker, kTimes };

template <typename Function>
Function* found(const char* name, Probe probe) {
    void* const bare = dlsym(RTLD_DEFAULT, name);
    void* const called = probe == Probe::kNone ? bare : Boundary::instance().looksUp(name, bare);
    return reinterpret_cast<Function*>(called);
}

void setUp(Probe probe) {
    moduleIoctl = found<HalModuleIoctlFn>("pcSimModuleIoctl", probe);
    nothing = found<HalStubFn>("pcSimCardPortProbe", probe);
    chassisInfo = found<HalChassisGetInfoFn>("pcSimStackChassisGetInfo", probe);
    rules.clear();
    if (probe == Probe::kRule) rules.add({.operation = "pcSimFanReadTemp"});
    onlooker.on = probe == Probe::kOnlooker;
    Boundary::instance().refresh();
    Boundary::instance().takeTimes(probe == Probe::kTimes);
}

struct Row {
    const char* name;
    void (*run)();
    const char* operation;
    Probe probe;
    size_t bare;  // the row that it is compared with
    std::vector<double> nanoseconds = {};

    // False when a call wasn't counted.
    bool time() {
        using Clock = std::chrono::steady_clock;
        setUp(probe);
        const auto& counted = Boundary::instance().siteNamed(operation)->counts->calls;
        const uint64_t before = counted;
        const auto start = Clock::now();
        run();
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
        nanoseconds.push_back(spent.count() / kCallsPerRound);
        return counted - before == (probe == Probe::kNone ? 0 : kCallsPerRound);
    }
    double median() {
        const auto middle =
            nanoseconds.begin() + static_cast<std::ptrdiff_t>(nanoseconds.size() / 2);
        std::nth_element(nanoseconds.begin(), middle, nanoseconds.end());
        return *middle;
    }
};

bool measureCalls(int rounds) {
    constexpr const char* kModule = "pcSimModuleIoctl";
    constexpr const char* kNothing = "pcSimCardPortProbe";
    constexpr const char* kChassis = "pcSimStackChassisGetInfo";
    Row rows[] = {
        {"three arguments, bare", callModule, kModule, Probe::kNone, 0},
        {"  counted", callModule, kModule, Probe::kCounting, 0},
        {"  a rule for another operation", callModule, kModule, Probe::kRule, 0},
        {"  timed", callModule, kModule, Probe::kTimes, 0},
        {"  seen by an observer", callModule, kModule, Probe::kOnlooker, 0},
        {"accepted and ignored, bare", callNothing, kNothing, Probe::kNone, 5},
        {"  counted", callNothing, kNothing, Probe::kCounting, 5},
        {"  a rule for another operation", callNothing, kNothing, Probe::kRule, 5},
        {"with a call of the HAL, bare", callChassis, kChassis, Probe::kNone, 8},
        {"  counted", callChassis, kChassis, Probe::kCounting, 8},
    };
    bool isRight = true;
    for (int round = 0; round < rounds; ++round)
        for (Row& row : rows) isRight = row.time() && isRight;
    std::printf("median nanoseconds per call, %d rounds of %d calls each\n", rounds,
                kCallsPerRound);
    std::printf("%-36s %8s %8s\n", "", "ns", "more");
    for (Row& row : rows)
        std::printf("%-36s %8.2f %8.2f\n", row.name, row.median(),
                    row.median() - rows[row.bare].median());
    return isRight;
}

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 501;
    const int loads = argc > 2 ? std::atoi(argv[2]) : 5;
    // The loads first: their processes begin without the probe.
    bool isRight = loads <= 0 || pcsim::bench::measureLoads(loads);
    if (!Boundary::instance().attach(dlopen("libpcsimulation.so.0", RTLD_LAZY | RTLD_NOLOAD)))
        return 1;
    Boundary::instance().add(rules);
    Boundary::instance().add(onlooker);
    isRight = measureCalls(rounds) && isRight;
    machine.tell();
    if (!isRight) std::printf("FAILED: a call wasn't counted, or did nothing\n");
    return isRight ? 0 : 1;
}
