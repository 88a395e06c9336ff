// What a fuzzer finds wrong: a line that says where and what, then the end of the process, which
// keeps the input.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_CHECK_H
#define PCSIM_TESTS_FUZZ_SUPPORT_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace pcsim::fuzz {

[[noreturn]] inline void wrong(const char* file, int line, const char* text) {
    std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, text);
    std::abort();
}

template <typename Value>
long long shownAs(Value value) {
    if constexpr (std::is_pointer_v<Value> || std::is_null_pointer_v<Value>)
        return static_cast<long long>(reinterpret_cast<uintptr_t>(value));
    else
        return static_cast<long long>(value);
}

template <typename Left, typename Right>
inline void same(Left left, Right right, const char* file, int line, const char* text) {
    if (left == static_cast<Left>(right)) [[likely]]
        return;
    std::fprintf(stderr, "%lld and %lld\n", shownAs(left), shownAs(right));
    wrong(file, line, text);
}

}  // namespace pcsim::fuzz

#define FUZZ_CHECK(condition) \
    ((condition) ? static_cast<void>(0) : pcsim::fuzz::wrong(__FILE__, __LINE__, #condition))
#define FUZZ_SAME(left, right) \
    pcsim::fuzz::same((left), (right), __FILE__, __LINE__, #left " == " #right)

#endif
