// Each load runs in a child process of its own, with a fresh heap, in turn with the other ways.
#include "bench/probe/load.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "bench/routes/prefixes.h"
#include "pcsim/family.h"
#include "probe/boundary/boundary.h"
#include "probe/record/recorder.h"
#include "probe/rules/rules.h"

namespace pcsim::bench {

namespace {

struct Load {
    double nanosecondsPerRoute;
    bool isRight;
};

struct Request {
    explicit Request(const Prefix& prefix, int32_t slots)
        : vrId(0),
          address(prefix.address.words[0]),
          mask(maskOf(prefix)),
          count(slots),
          slot{0, htonl(0x0A000001), 5, 0} {}
    operator const pcSimIPv4FibReq*() const {
        return reinterpret_cast<const pcSimIPv4FibReq*>(this);
    }
    uint32_t vrId, address, mask;
    int32_t count;
    pcSimIPv4FibSlot slot;
};

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Each prepares its process and returns the family's table as a HAL gets it.
using Way = HalFamilyOps();

HalFamilyOps bare() {
    HalFamilyOps table{};
    pcSimFamilyDBSetup(0, &table);
    return table;
}

HalFamilyOps counted() {
    probe::Boundary& boundary = probe::Boundary::instance();
    boundary.attach(dlopen("libpcsimulation.so.0", RTLD_LAZY | RTLD_NOLOAD));
    HalFamilyOps table{};
    void* const setup =
        boundary.looksUp("pcSimFamilyDBSetup", reinterpret_cast<void*>(&pcSimFamilyDBSetup));
    reinterpret_cast<HalFamilyDBSetupFn*>(setup)(0, &table);
    return table;
}

HalFamilyOps ruled() {
    static probe::Rules rules;
    const HalFamilyOps table = counted();
    probe::Boundary::instance().add(rules);
    rules.add({.operation = "pcSimFanReadTemp"});
    probe::Boundary::instance().refresh();
    return table;
}

HalFamilyOps recorded() {
    static probe::Recorder recorder;
    const HalFamilyOps table = counted();
    // A file that goes with the process.
    const int file = memfd_create("recording", MFD_CLOEXEC);
    if (!recorder.start("/proc/self/fd/" + std::to_string(file), false)) return {};
    probe::Boundary::instance().add(recorder);
    return table;
}

struct Row {
    const char* name;
    Way* way;
    bool counts;
    std::vector<double> nanoseconds = {};
};

Load run(const Row& row, const std::vector<Prefix>& prefixes) {
    // What the parent has freed lies about in pieces.
    malloc_trim(0);
    const HalFamilyOps table = row.way();
    bool isRight = true;
    const double start = processorSeconds();
    for (const Prefix& prefix : prefixes)
        isRight = table.ipv4FibAddEntry(Request(prefix, 1)) == 0 && isRight;
    const double spent = processorSeconds() - start;
    if (row.counts) {
        const probe::Site* const site =
            probe::Boundary::instance().siteNamed("pcSimPCFamIPv4FibAddEntry");
        isRight = isRight && site != nullptr && site->counts->calls == prefixes.size();
    }
    return {spent * 1e9 / static_cast<double>(prefixes.size()), isRight};
}

// Nothing is right in a child that didn't end well.
Load runInChild(const Row& row, const std::vector<Prefix>& prefixes) {
    int ends[2];
    Load load{0, false};
    if (pipe(ends) != 0) return load;
    const pid_t child = fork();
    if (child == 0) {
        const Load own = run(row, prefixes);
        _exit(write(ends[1], &own, sizeof own) == sizeof own ? 0 : 1);
    }
    close(ends[1]);
    if (read(ends[0], &load, sizeof load) != sizeof load) load.isRight = false;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return load;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

bool measureLoads(int rounds) {
    const PrefixTable table = generatePrefixes(AF_INET);
    Row rows[] = {{"bare", bare, false},
                  {"counted", counted, true},
                  {"a rule for another operation", ruled, true},
                  {"recorded", recorded, true}};
    bool isRight = true;
    for (int round = 0; round < rounds; ++round) {
        for (Row& row : rows) {
            const Load load = runInChild(row, table.prefixes);
            row.nanoseconds.push_back(load.nanosecondsPerRoute);
            isRight = isRight && load.isRight;
        }
    }
    std::printf(
        "\nloading %zu IPv4 routes: median nanoseconds of processor time per route, %d "
        "rounds\n%-36s %8s %8s\n",
        table.prefixes.size(), rounds, "", "ns", "ratio");
    const double least = median(rows[0].nanoseconds);
    for (const Row& row : rows) {
        const double typical = median(row.nanoseconds);
        std::printf("%-36s %8.1f %8.2f\n", row.name, typical, typical / least);
    }
    return isRight;
}

}  // namespace pcsim::bench
