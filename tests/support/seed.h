// The seed of a model test: another one each time, printed, or the one that PCSIM_SEED names.
#ifndef PCSIM_TESTS_SUPPORT_SEED_H
#define PCSIM_TESTS_SUPPORT_SEED_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace pcsim::test {

inline uint32_t modelSeed() {
    const char* const given = std::getenv("PCSIM_SEED");
    const uint32_t seed = given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 0))
                                           : std::random_device{}();
    std::printf("PCSIM_SEED=%u\n", seed);
    return seed;
}

}  // namespace pcsim::test

#endif
