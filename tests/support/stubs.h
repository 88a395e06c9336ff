// Operations that accept whatever they are given, answer 0 and do nothing else.
#ifndef PCSIM_TESTS_SUPPORT_STUBS_H
#define PCSIM_TESTS_SUPPORT_STUBS_H

#include <gtest/gtest.h>

#include <initializer_list>

#include "pcsim/base.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

struct Stub {
    const char* name;
    HalStubFn* operation;
};

// One row for each name of a module's list.
#define PCSIM_STUB_ROW(name) {#name, name},

// Calls each without arguments, as it is declared, and with some, as a HAL may.
inline void expectStubs(std::initializer_list<Stub> stubs, size_t count) {
    EXPECT_EQ(stubs.size(), count);
    const size_t queries = host().queries.size();
    const uint32_t allocations = libc().allocationCalls;
    for (const Stub& stub : stubs) {
        SCOPED_TRACE(stub.name);
        EXPECT_EQ(stub.operation(), 0);
        using Any = int32_t(uint32_t, void*, uint32_t, uint32_t);
        EXPECT_EQ(reinterpret_cast<Any*>(reinterpret_cast<void*>(stub.operation))(
                      0xFFFFFFFF, nullptr, 0xFFFFFFFF, 1),
                  0);
    }
    EXPECT_TRUE(host().calls.empty());
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_TRUE(host().replies.empty());
    EXPECT_EQ(host().queries.size(), queries);
    EXPECT_EQ(libc().allocationCalls, allocations);
    EXPECT_EQ(libc().socketsOpened, 0u);
}

}  // namespace pcsim::test

#endif
