// What a silent trace site costs.
//
// One operation that does nothing but trace is called with its component in each state, beside an
// operation that does nothing at all and beside the loop alone, in one run. The host functions that
// a trace may call count their calls: a silent site must make none, or the benchmark fails.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/machine.h"
#include "pcsim/ems.h"
#include "platform/port/pcSimPort.h"

namespace {
uint64_t names;
uint64_t incidents;
}  // namespace

extern "C" {

const char* halPortInstName(uint32_t) {
    ++names;
    return "1:1";
}

// Takes the incident and throws it away, so that the last row shows the library's share alone.
int emsNotifyIncident(const char*, int, const char*, HalEmsComponent*, uint32_t, const char*,
                      va_list) {
    ++incidents;
    return 0;
}
}

namespace {

constexpr int kCallsPerRound = 20000;

HalEmsLevel level;
uint32_t counters[8];
uint8_t mask;
HalEmsComponent component;

void loopAlone() {
    for (int i = 0; i < kCallsPerRound; ++i) asm volatile("");
}
void callStub() {
    for (int i = 0; i < kCallsPerRound; ++i) pcSimCardPortProbe();
}
void callSite() {
    for (int i = 0; i < kCallsPerRound; ++i) pcSimCardPortSetLinkLED(1 << 16 | 1, 2);
}

struct Row {
    const char* name;
    void (*run)();
    HalEmsComponent* handle;
    uint16_t level;
    uint8_t mask;
    uint64_t expectedPerCall[3];  // counted, names, incidents
    std::vector<double> nanoseconds;
    uint64_t counted = 0;
    uint64_t calls[2] = {};

    void time() {
        using Clock = std::chrono::steady_clock;
        _ems_HAL_Port_ComponentHandle = handle;
        ::level.level = level;
        ::mask = mask;
        const uint32_t countedBefore = counters[5];
        const uint64_t namesBefore = names;
        const uint64_t incidentsBefore = incidents;
        const auto start = Clock::now();
        run();
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
        nanoseconds.push_back(spent.count() / kCallsPerRound);
        counted += counters[5] - countedBefore;
        calls[0] += names - namesBefore;
        calls[1] += incidents - incidentsBefore;
    }
    double median() {
        const auto middle =
            nanoseconds.begin() + static_cast<std::ptrdiff_t>(nanoseconds.size() / 2);
        std::nth_element(nanoseconds.begin(), middle, nanoseconds.end());
        return *middle;
    }
};

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 501;
    component.level = &level;
    component.counters = counters;
    component.enabledMask = &mask;

    Row rows[] = {
        {"loop alone", loopAlone, nullptr, 0, 0, {0, 0, 0}, {}},
        {"operation without a site", callStub, nullptr, 0, 0, {0, 0, 0}, {}},
        {"site, null handle", callSite, nullptr, 0, 0, {0, 0, 0}, {}},
        {"site, level below", callSite, &component, 5, 0xFF, {0, 0, 0}, {}},
        {"site, counted and masked", callSite, &component, 6, 0xDF, {1, 0, 0}, {}},
        {"site, sent", callSite, &component, 6, 0x20, {1, 1, 1}, {}},
    };
    for (int round = 0; round < rounds; ++round)
        for (Row& row : rows) row.time();

    std::printf("median nanoseconds per call, %d rounds of %d calls each\n", rounds,
                kCallsPerRound);
    std::printf("%-26s %8s %8s   %s\n", "", "ns", "ratio", "counted, names asked, incidents sent");
    const double bare = rows[1].median();
    bool exact = true;
    for (Row& row : rows) {
        const double median = row.median();
        std::printf("%-26s %8.2f %8.2f   %llu %llu %llu\n", row.name, median, median / bare,
                    static_cast<unsigned long long>(row.counted),
                    static_cast<unsigned long long>(row.calls[0]),
                    static_cast<unsigned long long>(row.calls[1]));
        const uint64_t calls = static_cast<uint64_t>(rounds) * kCallsPerRound;
        exact = exact && row.counted == row.expectedPerCall[0] * calls &&
                row.calls[0] == row.expectedPerCall[1] * calls &&
                row.calls[1] == row.expectedPerCall[2] * calls;
    }
    machine.tell();
    if (!exact) std::printf("FAILED: a site made calls that its component doesn't ask for\n");
    return exact ? 0 : 1;
}
