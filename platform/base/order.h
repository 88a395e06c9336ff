// The order of two words, as the compare function of a host tree returns it.
#ifndef PCSIM_BASE_ORDER_H
#define PCSIM_BASE_ORDER_H

#include <cstdint>

namespace pcsim {

constexpr int32_t order(uint32_t a, uint32_t b) noexcept {
    return a < b ? -1 : static_cast<int32_t>(a > b);
}

}  // namespace pcsim

#endif
