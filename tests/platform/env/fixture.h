// What the tests of fans and power supplies start from.
#ifndef PCSIM_TESTS_ENV_FIXTURE_H
#define PCSIM_TESTS_ENV_FIXTURE_H

#include <gtest/gtest.h>

#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/words.h"

namespace pcsim::test {

constexpr uint32_t kNow = 0x5F5E1234;

// Where a database has its pointer, and what follows it.
constexpr size_t kIsPresent = byWordSize(12, 16);
constexpr size_t kWord4 = byWordSize(16, 24);

// Where a slot database has a word: the first five are 32 bits wide anywhere, the others hold
// pointers.
constexpr size_t word(uint32_t number) {
    return byWordSize(4 * number, 24 + 8 * (number - 5));
}

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
