// Lets memory run out in a test of our own programs: the n-th 'new' throws.
#ifndef PCSIM_TESTS_SUPPORT_FAILING_NEW_H
#define PCSIM_TESTS_SUPPORT_FAILING_NEW_H

#include <functional>

namespace pcsim::test {

// Does 'work' again and again, with the first, the second, ... of its allocations failing, until it
// comes to its end. 'afterFailure' runs behind each that has thrown. How many have.
int failEachNew(const std::function<void()>& work, const std::function<void()>& afterFailure);

}  // namespace pcsim::test

#endif
