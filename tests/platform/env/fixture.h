// What the tests of fans and power supplies start from.
#ifndef PCSIM_TESTS_ENV_FIXTURE_H
#define PCSIM_TESTS_ENV_FIXTURE_H

#include <gtest/gtest.h>

#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

constexpr uint32_t kNow = 0x5F5E1234;

class UnitTest : public testing::Test {
protected:
    void SetUp() override {
        host().attachComponents();
        libc().now = kNow;
    }
    // Nothing here but the traces may reach the host or the heap.
    void TearDown() override {
        EXPECT_TRUE(host().calls.empty());
        EXPECT_EQ(libc().allocationCalls, 0u);
    }
};

}  // namespace pcsim::test

#endif
