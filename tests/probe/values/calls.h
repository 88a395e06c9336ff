// Calls made of words, for tests that look at what they carry.
#ifndef PCSIM_TESTS_PROBE_VALUES_CALLS_H
#define PCSIM_TESTS_PROBE_VALUES_CALLS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "probe/values/blocks.h"

namespace pcsim::probe {

template <typename Pointer>
uint32_t word(Pointer* pointer) {
    return reinterpret_cast<uint32_t>(pointer);
}

// A call of an operation; its words live as long as it does.
struct MadeCall {
    MadeCall(const char* name, std::vector<uint32_t> given, uint64_t result = 0)
        : arguments(std::move(given)),
          words{*operationNamed(name)->function, arguments.data(),
                static_cast<uint32_t>(arguments.size()), result} {}

    std::vector<uint32_t> arguments;
    CallWords words;
};

}  // namespace pcsim::probe

#endif
