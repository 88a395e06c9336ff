// The host's tree, with insertions that a test can have refused, and its calls counted.
#ifndef PCSIM_TESTS_SUPPORT_TREE_H
#define PCSIM_TESTS_SUPPORT_TREE_H

#include <cstdint>

#include "tests/support/countdown.h"

namespace pcsim::test {

struct TreeState {
    uint32_t refuseInsert = 0;  // the n-th insertion from now is refused, once; 0: none is
    Countdown refusals;         // the same, and for ever
    uint32_t insertions = 0;    // asked for so far
    uint32_t lookups = 0;       // likewise
    int32_t success = 0;        // what a successful insertion answers: anything but -1
};

TreeState& tree();

}  // namespace pcsim::test

#endif
