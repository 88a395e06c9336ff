// Measures the platform's forwarding database beside three other tables, interleaved in one
// process: learn, hit, miss, find-and-delete and dump, per set of addresses.
//
// Each round makes every table anew and runs one operation on all of them before the next. Times
// are medians over the rounds; a ratio is the median of the rounds' own ratios and says how many
// times as fast as the peer the platform is. A full bucket gives an entry away,
// so hits and deletes ask for the addresses that are still there, in all tables.
#include <malloc.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

#include "bench/fdb/tables.h"
#include "bench/machine.h"

using namespace pcsim::bench;

namespace {

struct Options {
    size_t keys = 400000;
    uint32_t vlans = 256;
    int rounds = 9;
    uint64_t seed = 1;
    std::string prefixes;
};

constexpr const char* kHelp =
    "usage: bench_fdb [--keys N] [--vlans N] [--rounds N] [--seed N]\n"
    "                 [--prefixes FILE] [--by-handle] [--plain-code]\n"
    "  --keys N         addresses to learn, at most 450000 (400000)\n"
    "  --vlans N        VLANs that they are spread over, but for the hostile ones (256)\n"
    "  --rounds N       rounds to take the medians of (9)\n"
    "  --seed N         seed of the random addresses (1)\n"
    "  --prefixes FILE  vendor prefixes, six hexadecimal digits per line, may be packed with xz\n"
    "  --by-handle      look up and delete through a list of slots by handle that the HAL keeps\n"
    "  --plain-code     make the platform use the code that runs on any processor\n";

[[noreturn]] void usage(int status) {
    std::fputs(kHelp, status == 0 ? stdout : stderr);
    std::exit(status);
}

uint64_t numberOf(const char* text, uint64_t limit) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0' || value == 0 || value > limit) usage(2);
    return value;
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help") usage(0);
        if (name == "--plain-code" || name == "--by-handle") {
            (name == "--plain-code" ? plainCode : byHandle) = true;
            continue;
        }
        if (i + 1 == argc) usage(2);
        const char* value = argv[++i];
        if (name == "--keys") {
            options.keys = static_cast<size_t>(numberOf(value, 450000));
        } else if (name == "--vlans") {
            options.vlans = static_cast<uint32_t>(numberOf(value, kVlans));
        } else if (name == "--rounds") {
            options.rounds = static_cast<int>(numberOf(value, 1000));
        } else if (name == "--seed") {
            options.seed = numberOf(value, UINT64_MAX);
        } else if (name == "--prefixes") {
            options.prefixes = value;
        } else {
            usage(2);
        }
    }
    return options;
}

// --- Measuring ------------------------------------------------------------------------------

enum Operation { kLearn, kHit, kMiss, kDelete, kOperationCount };
constexpr const char* kOperationNames[] = {"learn", "hit", "miss", "find and delete"};
constexpr size_t kFewest = 1000;  // operations that a time is told of
enum Table { kPlatform, kFlatMap, kStdMap, kPlain, kTableCount };

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

struct Times {
    std::vector<double> of[kTableCount];
    double medianOf(int table) const { return median(of[table]); }
    // How many times as fast as 'peer' the platform is.
    double ratioTo(int peer) const {
        std::vector<double> ratios;
        for (size_t i = 0; i < of[peer].size(); ++i)
            ratios.push_back(of[peer][i] / of[kPlatform][i]);
        return median(ratios);
    }
};

struct Results {
    Times operations[kOperationCount];
    size_t evictions = 0;
    size_t kept = 0;
    double bytes[kTableCount] = {};
};

// The processor time of this thread alone: what else the machine does shows less.
double now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

template <typename Action>
double nanoseconds(Action&& action) {
    const double start = now();
    action();
    return now() - start;
}

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "bench_fdb: wrong answer: %s\n", what);
    std::exit(1);
}

double bytesInUse() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

// One table in one round.
template <typename TableType>
class Contestant {
public:
    explicit Contestant(size_t count) {
        const double before = bytesInUse();
        table_ = std::make_unique<TableType>(count);
        emptyBytes_ = before;
    }

    // Learns all keys and returns the time per key; notes the handles that had to go.
    double learn(const std::vector<Key>& keys, std::vector<uint32_t>* retired) {
        retired->clear();
        std::srand(1);  // tables that evict choose alike
        const double taken = nanoseconds([&] {
            for (size_t i = 0; i < keys.size(); ++i)
                if (const uint32_t gone = table_->learn(keys[i], static_cast<uint32_t>(i) + 1))
                    retired->push_back(gone);
        });
        return taken / static_cast<double>(keys.size());
    }
    double find(const std::vector<Key>& keys, bool present) {
        size_t found = 0;
        const double taken = nanoseconds([&] {
            for (const Key& key : keys) found += table_->find(key) != 0 ? 1 : 0;
        });
        require(found == (present ? keys.size() : 0), TableType::kName);
        return taken / static_cast<double>(keys.size());
    }
    double remove(const std::vector<Key>& keys) {
        size_t removed = 0;
        const double taken = nanoseconds([&] {
            for (const Key& key : keys) removed += table_->remove(key) ? 1 : 0;
        });
        require(removed == keys.size(), TableType::kName);
        return taken / static_cast<double>(keys.size());
    }
    void dump(const pcSimDumpSink& sink) const { table_->dump(sink); }
    double bytes() const { return bytesInUse() - emptyBytes_; }

private:
    double emptyBytes_;
    std::unique_ptr<TableType> table_;
};

struct Contestants {
    explicit Contestants(size_t count)
        : platform(count), flatMap(count), stdMap(count), plain(count) {}
    // Calls 'action' for each with its number.
    template <typename Action>
    void each(Action&& action) {
        action(platform, kPlatform);
        action(flatMap, kFlatMap);
        action(stdMap, kStdMap);
        action(plain, kPlain);
    }
    Contestant<PlatformTable> platform;
    Contestant<FlatMapTable> flatMap;
    Contestant<StdMapTable> stdMap;
    Contestant<PlainTable> plain;
};

// The keys whose handles have not been retired, in another order than they were learned in.
std::vector<Key> survivors(const std::vector<Key>& keys, const std::vector<uint32_t>& retired) {
    std::vector<bool> gone(keys.size());
    for (const uint32_t handle : retired) gone[handle - 1] = true;
    std::vector<Key> left;
    for (size_t i = 0; i < keys.size(); ++i)
        if (!gone[i]) left.push_back(keys[i]);
    std::mt19937 random(7);
    std::shuffle(left.begin(), left.end(), random);
    return left;
}

void runRound(const KeySet& set, Results* results) {
    Contestants contestants(set.present.size());
    std::vector<uint32_t> retired[kTableCount];
    contestants.each([&](auto& one, int table) {
        results->operations[kLearn].of[table].push_back(one.learn(set.present, &retired[table]));
    });
    require(retired[kPlatform] == retired[kPlain], "evictions");
    const std::vector<Key> kept = survivors(set.present, retired[kPlatform]);
    results->evictions = retired[kPlatform].size();
    results->kept = kept.size();
    // Few that are left are asked for again and again.
    std::vector<Key> asked;
    while (asked.size() < set.present.size())
        asked.insert(asked.end(), kept.begin(),
                     kept.begin() + static_cast<ptrdiff_t>(
                                        std::min(kept.size(), set.present.size() - asked.size())));
    contestants.each([&](auto& one, int table) {
        results->operations[kHit].of[table].push_back(one.find(asked, true));
    });
    contestants.each([&](auto& one, int table) {
        results->operations[kMiss].of[table].push_back(one.find(set.absent, false));
    });
    contestants.each([&](auto& one, int table) {
        results->operations[kDelete].of[table].push_back(one.remove(kept));
    });
}

void runSet(const KeySet& set, int rounds) {
    Results results;
    for (int round = 0; round < rounds; ++round) runRound(set, &results);
    std::printf("\n%s: %zu addresses, %zu evicted, %zu kept\n", set.name.c_str(),
                set.present.size(), results.evictions, results.kept);
    std::printf("  %-16s %10s %10s %10s %10s  %s\n", "ns per operation", PlatformTable::kName,
                FlatMapTable::kName, StdMapTable::kName, PlainTable::kName,
                "speed against flat_map, std map, plain loop");
    for (int i = 0; i < kOperationCount; ++i) {
        if (i == kDelete && results.kept < kFewest) continue;  // too few to be timed
        const Times& times = results.operations[i];
        std::printf("  %-16s %10.1f %10.1f %10.1f %10.1f  %8.2f %8.2f %8.2f\n", kOperationNames[i],
                    times.medianOf(kPlatform), times.medianOf(kFlatMap), times.medianOf(kStdMap),
                    times.medianOf(kPlain), times.ratioTo(kFlatMap), times.ratioTo(kStdMap),
                    times.ratioTo(kPlain));
    }
}

// --- Dump and memory ------------------------------------------------------------------------

int discard(uint32_t, const char*, ...) {
    return 0;
}

__attribute__((format(printf, 2, 3))) int format(uint32_t, const char* text, ...) {
    char line[200];
    va_list arguments;
    va_start(arguments, text);
    const int length = std::vsnprintf(line, sizeof line, text, arguments);
    va_end(arguments);
    return length;
}

void runDump(const KeySet& set, int rounds) {
    std::vector<uint32_t> retired;
    const auto platform = std::make_unique<Contestant<PlatformTable>>(set.present.size());
    const auto plain = std::make_unique<Contestant<PlainTable>>(set.present.size());
    platform->learn(set.present, &retired);
    plain->learn(set.present, &retired);
    struct Row {
        const char* name;
        HalDumpPrintFn* print;
    };
    std::printf("\ndump of %zu entries, ms\n  %-24s %10s %14s  %s\n",
                set.present.size() - retired.size(), "sink", "platform", "scan + format",
                "platform / scan + format");
    for (const Row& row : {Row{"that discards", discard}, Row{"that formats each line", format}}) {
        std::vector<double> dumps;
        std::vector<double> scans;
        std::vector<double> ratios;
        for (int round = 0; round < rounds; ++round) {
            dumps.push_back(nanoseconds([&] { platform->dump({0, row.print}); }) / 1e6);
            scans.push_back(nanoseconds([&] { plain->dump({0, format}); }) / 1e6);
            ratios.push_back(dumps.back() / scans.back());
        }
        std::printf("  %-24s %10.2f %14.2f  %8.2f\n", row.name, median(dumps), median(scans),
                    median(ratios));
    }
}

template <typename TableType>
void printMemory(const KeySet& set) {
    std::vector<uint32_t> retired;
    retired.reserve(set.present.size());
    Contestant<TableType> one(set.present.size());
    one.learn(set.present, &retired);
    std::printf("  %-16s %10.1f\n", TableType::kName, one.bytes() / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
    const Machine machine;
    const Options options = parse(argc, argv);
    setUpHost();
    std::mt19937_64 random(options.seed);
    const Prefixes prefixes = loadPrefixes(options.prefixes, random);
    std::printf("vendor prefixes: %zu, %s; %u VLANs; %d rounds, seed %llu%s%s\n",
                prefixes.values.size(), prefixes.origin.c_str(), options.vlans, options.rounds,
                static_cast<unsigned long long>(options.seed), plainCode ? "; plain code" : "",
                byHandle ? "; by handle" : "");

    const KeySet runs = vendorRuns(options.keys, options.vlans, prefixes, random);
    runSet(runs, options.rounds);
    runSet(uniformRandom(options.keys, options.vlans, random), options.rounds);
    runSet(everyVlan(random), options.rounds);
    runSet(oneBucket(options.keys, random), options.rounds);
    runDump(runs, options.rounds);
    std::printf("\nmemory, MB\n");
    printMemory<PlatformTable>(runs);
    printMemory<FlatMapTable>(runs);
    printMemory<StdMapTable>(runs);
    printMemory<PlainTable>(runs);
    machine.tell();
    return 0;
}
