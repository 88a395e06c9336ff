// A record of the HAL with its array, in memory of exactly that size: the sanitizer sees what is
// read behind its end.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_EXACT_H
#define PCSIM_TESTS_FUZZ_SUPPORT_EXACT_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace pcsim::fuzz {

template <typename Record>
class Exact {
public:
    explicit Exact(size_t size = sizeof(Record)) : memory_(std::malloc(size)) {
        std::memset(memory_, 0, size);
    }
    ~Exact() { std::free(memory_); }
    Exact(Exact&& other) noexcept : memory_(std::exchange(other.memory_, nullptr)) {}
    Exact(const Exact&) = delete;
    Exact& operator=(const Exact&) = delete;

    Record* get() const { return static_cast<Record*>(memory_); }
    Record* operator->() const { return get(); }
    operator const Record*() const { return get(); }

private:
    void* memory_;
};

}  // namespace pcsim::fuzz

#endif
