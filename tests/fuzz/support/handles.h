// Hardware handles of VLANs, ports and memberships: blocks that the library makes and frees again.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_HANDLES_H
#define PCSIM_TESTS_FUZZ_SUPPORT_HANDLES_H

#include "pcsim/l2.h"
#include "tests/fuzz/support/input.h"

namespace pcsim::fuzz {

class Handles {
public:
    explicit Handles(Input& input);
    // Makes or deletes one, also where there is no memory for it, where there is none, and where
    // the record names another one.
    void step();
    // Deletes all.
    void end();
    // How many there are.
    size_t live() const;

private:
    static constexpr uint32_t kOfAKind = 2;
    static constexpr uint32_t kKinds = 3;

    int32_t create(uint32_t kind, uint32_t which, HalHwHandle** handle);
    int32_t remove(uint32_t kind, uint32_t which, HalHwHandle** handle);
    void createOne(uint32_t kind, uint32_t which);
    void removeOne(uint32_t kind, uint32_t which);
    void tell();

    Input& input_;
    HalHwHandle* kept_[kKinds][kOfAKind]{};  // what the HAL stores, and its records point to
    HalVlanIf vlanIfs_[kOfAKind]{};
    HalPif pifs_[kOfAKind]{};
    HalVpif vpifs_[kOfAKind]{};
};

}  // namespace pcsim::fuzz

#endif
