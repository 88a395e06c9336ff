// Growth of the buffer. Mapped like the image, for the same reason.
#include "probe/record/bytes.h"

#include <sys/mman.h>

namespace pcsim::probe {

Bytes::~Bytes() {
    if (data_ != nullptr) munmap(data_, capacity_);
}

bool Bytes::grow(size_t size) {
    size_t capacity = capacity_ == 0 ? size_t{1} << 16 : capacity_ * 2;
    while (capacity < size_ + size) capacity *= 2;
    void* const memory = data_ == nullptr ? mmap(nullptr, capacity, PROT_READ | PROT_WRITE,
                                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                                          : mremap(data_, capacity_, capacity, MREMAP_MAYMOVE);
    if (memory == MAP_FAILED) {
        whole_ = false;
        return false;
    }
    data_ = static_cast<uint8_t*>(memory);
    capacity_ = capacity;
    return true;
}

}  // namespace pcsim::probe
