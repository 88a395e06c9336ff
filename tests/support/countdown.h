// Lets the n-th call of one kind fail, once or from then on for ever.
#ifndef PCSIM_TESTS_SUPPORT_COUNTDOWN_H
#define PCSIM_TESTS_SUPPORT_COUNTDOWN_H

#include <cstdint>

namespace pcsim::test {

struct Countdown {
    uint32_t next = 0;  // the n-th call from now fails; 0: none does
    bool forEver = false;
    uint32_t failed = 0;  // calls that have failed so far

    bool fails() noexcept {
        if (next == 0) return false;
        if (next > 1) {
            --next;
            return false;
        }
        if (!forEver) next = 0;
        ++failed;
        return true;
    }
};

}  // namespace pcsim::test

#endif
