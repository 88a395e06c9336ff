// Measures the route tables at the size of the Internet's, side by side with a bare Boost.Intrusive
// AVL set and a std::map of the same keys and payload, and with the kernel's own table.
//
//   bench_routes [--data DIR] [--ipv4 FILE] [--ipv6 FILE] [--rounds N] [--only TITLE]
//
// Each contender runs in a child process of its own, with a fresh heap, in turn with the others,
// round after round; medians are shown. The kernel, which is slow, runs once, and the shapes of the
// last tables in a third of the rounds. Times are processor time of the child (system time
// included), so that other work on the machine disturbs less. Every run counts what it stores and
// finds, and is thrown out with an error when that is wrong.
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <numeric>
#include <random>

#include "bench/machine.h"
#include "bench/routes/contenders.h"
#include "bench/routes/kernel.h"

namespace pcsim::bench {
namespace {

enum Measure {
    kAdd,
    kRemove,
    kFind,
    kReplace,
    kFlush,
    kDump,
    kFlushAll,
    kFormattedDump,
    kColdFlush,
    kColdFlushAll,
    kColdDump,
    kBytes,
    kPeak,
    kMeasures
};
// The rows of the first tables, in the order of the measures.
constexpr int kRows = 6;
const char* const kMeasureNames[] = {"add",
                                     "find and delete",
                                     "find",
                                     "replace",
                                     "flush of 1 gateway of 250",
                                     "dump",
                                     "flush of all",
                                     "dump, formatted",
                                     "cold flush of 1 gateway",
                                     "cold flush of all",
                                     "cold dump"};

struct Result {
    double values[kMeasures];  // ns per route; bytes per route; peak in kB
};

double processorNs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Action>
double nsPer(size_t count, Action action) {
    const double start = processorNs();
    action();
    return (processorNs() - start) / static_cast<double>(count);
}

// A line of /proc/self/status, in kB.
double statusKb(const char* name) {
    FILE* const file = std::fopen("/proc/self/status", "r");
    char line[128];
    double value = 0;
    while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr)
        if (std::strncmp(line, name, std::strlen(name)) == 0)
            value = std::atof(line + std::strlen(name) + 1);
    if (file != nullptr) std::fclose(file);
    return value;
}

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "bench_routes: %s\n", what);
    _exit(1);
}

// Runs 'action' in a child and returns what it returns. Ends the program when the child fails.
Result inChild(const std::function<Result()>& action) {
    int ends[2];
    require(pipe(ends) == 0, "no pipe");
    std::fflush(stdout);
    const pid_t child = fork();
    require(child >= 0, "no child process");
    if (child == 0) {
        const Result result = action();
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    close(ends[1]);
    Result result{};
    const ssize_t size = read(ends[0], &result, sizeof result);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    require(size == sizeof result && status == 0, "a run has failed");
    return result;
}

using Order = std::vector<uint32_t>;

template <typename Table>
Result measure(const std::vector<Prefix>& prefixes, const Order& order) {
    static Table table;
    Result result{};
    const size_t count = order.size();
    const size_t heapBefore = mallinfo2().uordblks;
    const double residentBefore = statusKb("VmRSS");
    size_t failures = 0;
    const auto all = [&](auto operation) {
        for (uint32_t index : order)
            if (!operation(prefixes[index], index % kGateways)) ++failures;
    };
    double* const values = result.values;
    values[kAdd] = nsPer(count, [&] {
        all([](const Prefix& prefix, uint32_t gateway) { return table.add(prefix, gateway); });
    });
    values[kBytes] =
        static_cast<double>(mallinfo2().uordblks - heapBefore) / static_cast<double>(count);
    values[kPeak] = statusKb("VmHWM") - residentBefore;
    require(table.size() == count, "a table has not stored every route");
    values[kFind] = nsPer(
        count, [&] { all([](const Prefix& prefix, uint32_t) { return table.find(prefix); }); });
    values[kDump] = nsPer(count, [] { table.dump(); });
    values[kReplace] = nsPer(count, [&] {
        all([](const Prefix& prefix, uint32_t gateway) {
            return table.replace(prefix, (gateway + 1) % kGateways);
        });
    });
    values[kFlush] = nsPer(count, [] { table.flush(1); });
    require(table.size() == count - (count + kGateways - 1) / kGateways,
            "a flush has not removed its gateway's routes");
    for (uint32_t index = 0; index < count; index += kGateways) table.add(prefixes[index], 1);
    require(table.size() == count, "flushed routes have not come back");
    values[kRemove] = nsPer(
        count, [&] { all([](const Prefix& prefix, uint32_t) { return table.remove(prefix); }); });
    require(failures == 0 && table.size() == 0, "an operation has failed");
    return result;
}

Result measureKernel(const std::vector<Prefix>& prefixes, const Order& order) {
    Result result{};
    KernelTable table;
    if (!table.ok()) return result;
    const size_t count = order.size();
    size_t failures = 0;
    result.values[kAdd] = nsPer(count, [&] { failures += table.send(prefixes, order, false); });
    result.values[kRemove] = nsPer(count, [&] { failures += table.send(prefixes, order, true); });
    require(failures == 0, "the kernel has refused a route");
    return result;
}

Result median(const std::vector<Result>& results) {
    Result middle{};
    for (int i = 0; i < kMeasures; ++i) {
        std::vector<double> values;
        for (const Result& result : results) values.push_back(result.values[i]);
        std::sort(values.begin(), values.end());
        middle.values[i] = values[values.size() / 2];
    }
    return middle;
}

// Part of the titles of what is to be measured.
std::string only;

bool isWanted(const std::string& title) {
    return title.find(only) != std::string::npos;
}

struct Contender {
    const char* name;
    Result (*run)(const std::vector<Prefix>&, const Order&);
    bool isSlow = false;  // runs in the first round alone
};

// One table of the report; the first contender is the library, the second the one that it is
// compared with.
void compare(const char* title, const std::vector<Contender>& contenders,
             const std::vector<Prefix>& prefixes, const Order& order, int rounds) {
    if (!isWanted(title)) return;
    std::vector<std::vector<Result>> results(contenders.size());
    for (int round = 0; round < rounds; ++round)
        for (size_t i = 0; i < contenders.size(); ++i)
            if (round == 0 || !contenders[i].isSlow)
                results[i].push_back(inChild([&] { return contenders[i].run(prefixes, order); }));
    std::vector<Result> medians;
    for (const auto& runs : results) medians.push_back(median(runs));

    std::printf("\n%s, %zu routes, ns per route\n%-26s", title, order.size(), "");
    for (const Contender& contender : contenders) std::printf("%12s", contender.name);
    std::printf("%14s\n", "AVL : pcSim");
    for (int measured = 0; measured < kRows; ++measured) {
        std::printf("%-26s", kMeasureNames[measured]);
        for (const Result& result : medians) {
            if (result.values[measured] > 0)
                std::printf("%12.0f", result.values[measured]);
            else
                std::printf("%12s", "-");
        }
        std::printf("%14.2f\n", medians[1].values[measured] / medians[0].values[measured]);
    }
    std::printf("%-26s", "heap bytes per route");
    for (size_t i = 0; i < 3; ++i) std::printf("%12.1f", medians[i].values[kBytes]);
    std::printf("\n%-26s", "peak resident, MB");
    for (size_t i = 0; i < 3; ++i) std::printf("%12.1f", medians[i].values[kPeak] / 1024);
    std::printf("\n");
}

// --- Shapes: shared adjacencies and growth ----------------------------------------------------

struct Shape {
    size_t routes;
    uint32_t gateways;
};

// Fills the processor's caches with something else, as other work between two walks does.
void evictCaches() {
    static std::vector<uint8_t> other(128u << 20);
    for (size_t i = 0; i < other.size(); i += 64) ++other[i];
}

template <typename Action>
double coldNsPer(size_t count, Action action) {
    evictCaches();
    return nsPer(count, action);
}

// The library's IPv4 table in that shape.
Result measureShape(const std::vector<Prefix>& prefixes, const Order& order, Shape shape) {
    static LibraryIPv4 table;
    Result result{};
    double* const values = result.values;
    const size_t count = std::min(shape.routes, order.size());
    const auto addAll = [&] {
        for (size_t i = 0; i < count; ++i)
            table.add(prefixes[order[i]], static_cast<uint32_t>(i % shape.gateways));
    };
    values[kAdd] = nsPer(count, addAll);
    require(table.size() == count, "a table has not stored every route");
    values[kDump] = nsPer(count, [] { table.dump(); });
    values[kColdDump] = coldNsPer(count, [] { table.dump(); });
    values[kFormattedDump] = nsPer(count, [] { table.dumpFormatted(); });
    values[kRemove] = nsPer(count, [&] {
        for (size_t i = 0; i < count; ++i) table.remove(prefixes[order[i]]);
    });
    addAll();
    // With one gateway for all, one that nobody uses: the walk alone.
    values[kFlush] = nsPer(count, [] { table.flush(1); });
    values[kFlushAll] = nsPer(table.size(), [] { table.flushAll(); });
    addAll();
    values[kColdFlush] = coldNsPer(count, [] { table.flush(1); });
    values[kColdFlushAll] = coldNsPer(table.size(), [] { table.flushAll(); });
    require(table.size() == 0, "a flush has left routes");
    return result;
}

void compareShapes(const char* title, const std::vector<Prefix>& prefixes, const Order& order,
                   Shape first, Shape second, int rounds) {
    if (!isWanted(title)) return;
    std::vector<Result> a, b;
    for (int round = 0; round < rounds; ++round) {
        a.push_back(inChild([&] { return measureShape(prefixes, order, first); }));
        b.push_back(inChild([&] { return measureShape(prefixes, order, second); }));
    }
    const Result one = median(a), two = median(b);
    std::printf("\n%s, ns per route\n%-26s%9zu/%-5u%9zu/%-5u%8s\n", title, "routes/gateways",
                first.routes, first.gateways, second.routes, second.gateways, "ratio");
    for (const Measure measured : {kAdd, kRemove, kFlush, kFlushAll, kDump, kFormattedDump,
                                   kColdFlush, kColdFlushAll, kColdDump})
        std::printf("%-26s%15.0f%15.0f%8.2f\n", kMeasureNames[measured], one.values[measured],
                    two.values[measured], two.values[measured] / one.values[measured]);
}

PrefixTable load(const std::string& path, int family) {
    PrefixTable table = readPrefixes(path, family);
    return table.prefixes.empty() ? generatePrefixes(family) : table;
}

int run(const std::string& path4, const std::string& path6, int rounds) {
    const int roundsOfShapes = std::max(1, rounds / 3);
    const PrefixTable table4 = load(path4, AF_INET);
    const PrefixTable table6 = load(path6, AF_INET6);
    std::printf(
        "IPv4: %zu prefixes, %s\nIPv6: %zu prefixes, %s\n%d rounds, medians; the kernel "
        "once, one gateway and growth %d times\n",
        table4.prefixes.size(), table4.origin.c_str(), table6.prefixes.size(),
        table6.origin.c_str(), rounds, roundsOfShapes);
    const auto orders = [](size_t count) {
        Order inFile(count);
        std::iota(inFile.begin(), inFile.end(), 0u);
        Order shuffled = inFile;
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
        return std::pair{inFile, shuffled};
    };
    const auto [inFile4, shuffled4] = orders(table4.prefixes.size());
    const auto [inFile6, shuffled6] = orders(table6.prefixes.size());

    using Avl4 = AvlTable<Key4, Payload4>;
    using Map4 = MapTable<Key4, Payload4>;
    using Avl6 = AvlTable<Key6, Payload6>;
    using Map6 = MapTable<Key6, Payload6>;
    const std::vector<Contender> ipv4 = {{LibraryIPv4::kName, measure<LibraryIPv4>},
                                         {Avl4::kName, measure<Avl4>},
                                         {Map4::kName, measure<Map4>},
                                         {"kernel", measureKernel, true}};
    const std::vector<Contender> ipv6 = {{LibraryIPv6::kName, measure<LibraryIPv6>},
                                         {Avl6::kName, measure<Avl6>},
                                         {Map6::kName, measure<Map6>}};
    compare("IPv4, file order", ipv4, table4.prefixes, inFile4, rounds);
    compare("IPv4, shuffled", ipv4, table4.prefixes, shuffled4, rounds);
    compare("IPv6, file order", ipv6, table6.prefixes, inFile6, rounds);
    compare("IPv6, shuffled", ipv6, table6.prefixes, shuffled6, rounds);
    const size_t all = std::min<size_t>(900'000, table4.prefixes.size());
    compareShapes("One gateway for all, file order", table4.prefixes, inFile4, {all, kGateways},
                  {all, 1}, roundsOfShapes);
    compareShapes("One gateway for all, shuffled", table4.prefixes, shuffled4, {all, kGateways},
                  {all, 1}, roundsOfShapes);
    compareShapes("Growth, file order", table4.prefixes, inFile4, {100'000, kGateways},
                  {all, kGateways}, roundsOfShapes);
    compareShapes("Growth, shuffled", table4.prefixes, shuffled4, {100'000, kGateways},
                  {all, kGateways}, roundsOfShapes);
    return 0;
}

}  // namespace
}  // namespace pcsim::bench

int main(int argc, char** argv) {
    std::string data = "../shared/data", path4, path6;
    int rounds = 3;
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (value != nullptr && option == "--data") {
            data = value;
        } else if (value != nullptr && option == "--ipv4") {
            path4 = value;
        } else if (value != nullptr && option == "--ipv6") {
            path6 = value;
        } else if (value != nullptr && option == "--rounds" && std::atoi(value) > 0) {
            rounds = std::atoi(value);
        } else if (value != nullptr && option == "--only") {
            pcsim::bench::only = value;
        } else {
            std::fprintf(stderr,
                         "usage: bench_routes [--data DIR] [--ipv4 FILE] [--ipv6 FILE] "
                         "[--rounds N] [--only TITLE]\n");
            return 2;
        }
    }
    if (path4.empty()) path4 = data + "/ipv4_full_901899.txt.xz";
    if (path6.empty()) path6 = data + "/ipv6_full_160147.txt.xz";
    const pcsim::bench::Machine machine;
    const int status = pcsim::bench::run(path4, path6, rounds);
    machine.tell();
    return status;
}
