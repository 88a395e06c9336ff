// The 'new' of the whole program, with a countdown.
#include "tests/support/failing_new.h"

#include <cstdlib>
#include <new>

namespace {

int countdown = 0;  // the n-th from now fails; 0: none does

}  // namespace

void* operator new(size_t size) {
    if (countdown > 0 && --countdown == 0) throw std::bad_alloc();
    if (void* const block = std::malloc(size != 0 ? size : 1)) return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, size_t) noexcept {
    std::free(block);
}

namespace pcsim::test {

int failEachNew(const std::function<void()>& work, const std::function<void()>& afterFailure) {
    for (int n = 1;; ++n) {
        try {
            countdown = n;
            work();
            countdown = 0;
            return n - 1;
        } catch (const std::bad_alloc&) {
            countdown = 0;
            afterFailure();
        }
    }
}

}  // namespace pcsim::test
