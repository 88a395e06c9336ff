// A HAL's calls by chance, over all tables that the platform fills.
#ifndef PCSIM_TESTS_PROBE_TOOLS_RANDOM_CALLS_H
#define PCSIM_TESTS_PROBE_TOOLS_RANDOM_CALLS_H

#include <cstdint>
#include <memory>
#include <random>

#include "pcsim/host_records.h"
#include "pcsim/system.h"

namespace pcsim::probe::test {

constexpr uint32_t kVlans = 6;
constexpr uint32_t kPorts = 8;

// The HAL's interface records, which the host functions hand out.
HalVlanIf& vlanIfOf(uint32_t index);
HalPif& pifOf(uint32_t index);

class RandomCalls {
public:
    // 'init' is the entry point, which is called first.
    RandomCalls(HalPlatformSystemInitFn* init, uint32_t seed);
    ~RandomCalls();
    RandomCalls(const RandomCalls&) = delete;
    RandomCalls& operator=(const RandomCalls&) = delete;

    // Makes one call, or a few that belong together.
    void make();

private:
    struct Hal;
    std::unique_ptr<Hal> hal_;
};

}  // namespace pcsim::probe::test

#endif
