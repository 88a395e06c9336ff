// Programming errors that stop the process: a null pointer where an object is required, and what a
// module declares to be fatal. Not switchable, unlike the host's own assertion switch.
#ifndef PCSIM_BASE_ASSERTION_H
#define PCSIM_BASE_ASSERTION_H

#include <cstdio>
#include <cstdlib>

namespace pcsim {

[[noreturn]] inline void assertionFailed(const char* file, int line, const char* function,
                                         const char* condition) noexcept {
    std::fprintf(stderr, "%s:%d: %s: Assertion \"%s\" failed\n", file, line, function, condition);
    std::abort();
}

}  // namespace pcsim

// 'file' is the name that the HAL's engineers know the module by; 'text' names what was missing.
#define PCSIM_ASSERT_NAMED(file, condition, text) \
    ((condition) ? static_cast<void>(0) : pcsim::assertionFailed(file, __LINE__, __func__, text))

#endif
