// The steps of one run over a multicast database, and the clock that times them.
#ifndef PCSIM_BENCH_MCAST_STEPS_H
#define PCSIM_BENCH_MCAST_STEPS_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <vector>

// Whether the processor's caches are filled with something else before each step.
inline bool cold = false;

inline constexpr const char* kSteps[] = {
    "add",  "find in order", "find shuffled", "oif add",      "oif delete",
    "dump", "VLAN of 100",   "port cascade",  "VLAN cascade", "incoming VLAN cascade"};
constexpr size_t kStepCount = std::size(kSteps);
struct Times {
    double ns[kStepCount];
};

inline void evictCaches() {
    static std::vector<uint8_t> other(128u << 20);
    for (size_t i = 0; i < other.size(); i += 64) ++other[i];
}

// Processor time: other work on the machine does not count.
class Watch {
public:
    double ns(double count) {
        const double passed = now() - start_;
        restart();
        return passed / count;
    }
    void restart() { start_ = now(); }
    // Begins a step whose predecessor has been timed.
    void begin() {
        if (cold) evictCaches();
        restart();
    }

private:
    static double now() {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    }
    double start_ = now();
};

// What one run has timed so far, step after step.
struct Steps {
    Times times{};
    Watch watch;

    void done(double count) { times.ns[step_++] = watch.ns(count); }

private:
    size_t step_ = 0;
};

#endif
