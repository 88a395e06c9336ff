// What it costs to bind instances to one access list, and how that grows from 1,000 to 10,000.
//
// Bind, refresh (with counters, printing discarded) and unbind, in ascending and shuffled order;
// beside a peer that keeps the members of a list in a std::map. Medians over the rounds, per
// binding.
//
//   bench_acl [rounds]
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "bench/machine.h"
#include "platform/acl/pcSimIPv4Acl.h"

namespace {

constexpr uint16_t kCounters = 4;

using Order = std::vector<uint32_t>;

HalAclBindRequest place(uint32_t i) {
    HalAclBindRequest request{};
    std::strcpy(request.name, "web");
    request.vlan = i / 64;
    request.port = 1 << 16 | (1 + i % 64);
    return request;
}

struct Platform {
    Platform() {
        HalAclListRequest request = list();
        pcSimIPv4AclAdd(&request);
    }
    void bind(uint32_t i) {
        const HalAclBindRequest request = place(i);
        if (pcSimIPv4AclConfig(&request) != 0) std::abort();
    }
    void unbind(uint32_t i) {
        const HalAclBindRequest request = place(i);
        pcSimIPv4AclUnconfig(&request);
    }
    void refresh() {
        HalAclListRequest request = list();
        pcSimIPv4AclRefresh(&request);
    }
    static HalAclListRequest list() {
        HalAclListRequest request{};
        std::strcpy(request.name, "web");
        request.counterCount = kCounters;
        return request;
    }
};

struct Maps {
    using Key = std::tuple<uint32_t, uint32_t, uint8_t>;
    struct Instance {
        uint8_t* counters;
    };
    std::map<Key, Instance> instances;
    std::map<Key, Instance*> members;

    static Key keyOf(uint32_t i) {
        const HalAclBindRequest request = place(i);
        return {request.vlan, request.port, request.key};
    }
    void bind(uint32_t i) {
        Instance& one = instances[keyOf(i)];
        one.counters = static_cast<uint8_t*>(std::calloc(kCounters, 16));
        members[keyOf(i)] = &one;
    }
    void unbind(uint32_t i) {
        const auto at = instances.find(keyOf(i));
        members.erase(keyOf(i));
        std::free(at->second.counters);
        instances.erase(at);
    }
    void refresh() {
        for (auto& [key, one] : members) std::memset(one->counters, 0, kCounters * 16);
    }
};

constexpr const char* kSteps[] = {"bind", "refresh", "unbind"};
struct Times {
    double ns[3];
};

template <typename Peer>
Times run(Peer& peer, const Order& order) {
    // Processor time: other work on the machine does not count.
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    for (uint32_t i : order) peer.bind(i);
    const double bound = now();
    peer.refresh();
    const double refreshed = now();
    for (uint32_t i : order) peer.unbind(i);
    const double unbound = now();
    const auto ns = [&](double from, double to) {
        return (to - from) / static_cast<double>(order.size());
    };
    return {{ns(start, bound), ns(bound, refreshed), ns(refreshed, unbound)}};
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 101;
    const int out = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    std::fflush(stdout);
    dup2(null, STDOUT_FILENO);  // a refresh prints

    constexpr uint32_t kSizes[] = {1000, 10000};
    Platform platform;
    Maps maps;
    std::vector<double> ours[2][2][3], theirs[2][2][3];  // [shuffled][size][step]
    for (int round = 0; round < rounds; ++round)
        for (int shuffled = 0; shuffled < 2; ++shuffled)
            for (int size = 0; size < 2; ++size) {
                Order order(kSizes[size]);
                std::iota(order.begin(), order.end(), 0);
                if (shuffled != 0)
                    std::shuffle(order.begin(), order.end(),
                                 std::mt19937(static_cast<uint32_t>(round)));
                const Times a = run(platform, order);
                const Times b = run(maps, order);
                for (int i = 0; i < 3; ++i) {
                    ours[shuffled][size][i].push_back(a.ns[i]);
                    theirs[shuffled][size][i].push_back(b.ns[i]);
                }
            }

    std::fflush(stdout);
    dup2(out, STDOUT_FILENO);
    std::printf(
        "ns per binding, %d rounds\n\n| step | order | 1,000 | 10,000 | growth | "
        "maps 1,000 | maps 10,000 | growth | platform / maps |\n"
        "|---|---|---|---|---|---|---|---|---|\n",
        rounds);
    for (int i = 0; i < 3; ++i)
        for (int shuffled = 0; shuffled < 2; ++shuffled) {
            const double a = median(ours[shuffled][0][i]), b = median(ours[shuffled][1][i]);
            const double c = median(theirs[shuffled][0][i]), d = median(theirs[shuffled][1][i]);
            std::printf("| %s | %s | %.0f | %.0f | %.2f | %.0f | %.0f | %.2f | %.2f |\n", kSteps[i],
                        shuffled != 0 ? "shuffled" : "ascending", a, b, b / a, c, d, d / c, b / d);
        }
    machine.tell();
    return 0;
}
