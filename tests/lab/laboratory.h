// A lab for a test case, or the case's end with a line that says why there is none.
#ifndef PCSIM_TESTS_LAB_LABORATORY_H
#define PCSIM_TESTS_LAB_LABORATORY_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "lab/lab.h"

namespace pcsim::test {

inline constexpr int kSkipped = 77;  // what the test driver counts as skipped

inline void enterNamespaceOrSkip() {
    const auto problem = lab::enterNamespace();
    if (!problem) return;
    printf("skipped: this machine %s\n", problem->c_str());
    fflush(stdout);
    _Exit(kSkipped);
}

class LabTest : public testing::Test {
protected:
    void SetUp() override {
        enterNamespaceOrSkip();
        const auto problem = lab_.create(kPorts);
        ASSERT_FALSE(problem) << *problem;
    }

    static constexpr unsigned kPorts = 3;
    lab::Lab lab_;
};

}  // namespace pcsim::test

#endif
