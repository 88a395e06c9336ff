// Runs the cases. Traps are seen in a forked child, which has the state that the case has built.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

// The library and the test host keep their state: the second case of a process would meet what the
// first has left.
class OneCaseEach : public testing::EmptyTestEventListener {
    void OnTestIterationStart(const testing::UnitTest& tests, int) override {
        if (tests.test_to_run_count() <= 1) return;
        std::fprintf(stderr,
                     "%d cases are chosen, but each needs a process of its own: run ctest, "
                     "or choose one with --gtest_filter=SUITE.CASE\n",
                     tests.test_to_run_count());
        std::exit(2);
    }
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::FLAGS_gtest_death_test_style = "fast";
#ifndef PCSIM_CASES_SHARE_A_PROCESS
    testing::UnitTest::GetInstance()->listeners().Append(new OneCaseEach);
#endif
    return RUN_ALL_TESTS();
}
