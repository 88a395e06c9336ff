// Something for each number that has come up, zero at first: sites and paths are numbered from 0.
#ifndef PCSIM_PROBE_RECORD_TABLE_H
#define PCSIM_PROBE_RECORD_TABLE_H

#include <sys/mman.h>

#include <cstdint>

namespace pcsim::probe {

// Numbers from kNumbers on share one place. Mapped, so that nothing is allocated when it is used.
template <typename Element>
class Table {
public:
    static constexpr uint32_t kNumbers = 16384;

    Table() {
        void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        elements_ = memory == MAP_FAILED ? nullptr : static_cast<Element*>(memory);
    }
    ~Table() {
        if (elements_ != nullptr) munmap(elements_, kSize);
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    Element& at(uint32_t number) {
        if (elements_ == nullptr) return none_;
        return elements_[number < kNumbers ? number : kNumbers];
    }

private:
    static constexpr size_t kSize = (kNumbers + 1) * sizeof(Element);

    Element* elements_;
    Element none_{};
};

}  // namespace pcsim::probe

#endif
