// What the HAL keeps of handles, compared with the blocks that the library has.
#include "tests/fuzz/support/handles.h"

#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"

namespace pcsim::fuzz {

Handles::Handles(Input& input) : input_(input) {
    for (uint32_t i = 0; i < kOfAKind; ++i) {
        vlanIfs_[i].hwHandle = &kept_[0][i];
        vlanIfs_[i].vlanId = static_cast<uint16_t>(i);
        pifs_[i].hwHandle = &kept_[1][i];
        pifs_[i].slot = 1;
        pifs_[i].port = static_cast<uint16_t>(i);
        vpifs_[i].hwHandle = &kept_[2][i];
        vpifs_[i].pif = &pifs_[i];
        vpifs_[i].vlanIf = &vlanIfs_[i];
    }
}

int32_t Handles::create(uint32_t kind, uint32_t which, HalHwHandle** handle) {
    if (kind == 0) return pcSimVlanIfCreate(&vlanIfs_[which], handle);
    if (kind == 1) return pcSimCardPifCreate(&pifs_[which], handle);
    return pcSimVpifCreate(&vpifs_[which], handle);
}

int32_t Handles::remove(uint32_t kind, uint32_t which, HalHwHandle** handle) {
    if (kind == 0) return pcSimVlanIfDelete(&vlanIfs_[which], handle);
    if (kind == 1) return pcSimCardPifDelete(&pifs_[which], handle);
    return pcSimVpifDelete(&vpifs_[which], handle);
}

void Handles::createOne(uint32_t kind, uint32_t which) {
    const bool fails = input_.below(4) == 0;
    HalHwHandle* made = reinterpret_cast<HalHwHandle*>(this);
    library().failAllocation = fails ? 1 : 0;
    FUZZ_SAME(create(kind, which, &made), 0);
    FUZZ_SAME(library().failAllocation, 0u);
    FUZZ_SAME(made == nullptr, fails);
    if (made == nullptr) return;
    FUZZ_CHECK(isLive(made));
    FUZZ_SAME(*made, kind == 0 ? 1u : 0u);
    if (kept_[kind][which] == nullptr)
        kept_[kind][which] = made;
    else
        release(made);  // the HAL has one already
}

void Handles::removeOne(uint32_t kind, uint32_t which) {
    const size_t before = liveBlocks();
    const size_t printed = library().printed;
    HalHwHandle* const old = kept_[kind][which];
    if (input_.flag()) {
        FUZZ_SAME(remove(kind, which, &kept_[kind][which]), 0);
        FUZZ_SAME(library().printed, printed);
    } else {
        HalHwHandle* passed = old;
        kept_[kind][which] = nullptr;
        FUZZ_SAME(remove(kind, which, &passed), 0);
        FUZZ_CHECK(passed == nullptr);
        FUZZ_SAME(library().printed - printed, old != nullptr ? 1u : 0u);
    }
    FUZZ_CHECK(kept_[kind][which] == nullptr);
    FUZZ_SAME(liveBlocks(), before - (old != nullptr ? 1 : 0));
    if (old != nullptr) FUZZ_CHECK(!isLive(old));
}

// What is accepted and ignored.
void Handles::tell() {
    const HalProtocolFilter filter{};
    const uint32_t which = input_.below(kOfAKind);
    const auto number = static_cast<int32_t>(input_.hostile());
    vpifs_[which].flags = input_.hostile();
    vpifs_[which].state = input_.hostile();
    FUZZ_SAME(pcSimCardVlanCreate(number, &vlanIfs_[which]), 0);
    FUZZ_SAME(pcSimCardVlanDelete(number, &vlanIfs_[which]), 0);
    FUZZ_SAME(pcSimCardVlanAddPort(&vpifs_[which]), 0);
    FUZZ_SAME(pcSimCardSyncVlanAddPort(&vpifs_[which]), 0);
    FUZZ_SAME(pcSimCardVlanDeletePort(&vpifs_[which]), 0);
    FUZZ_SAME(pcSimVlanOptionEnable(&vlanIfs_[which], number, number & 1), 0);
    FUZZ_SAME(pcSimCardVpifCfgProtocol(&pifs_[which], &filter, 8, 9, number & 1), 0);
}

void Handles::step() {
    const uint32_t kind = input_.below(kKinds + 1);
    if (kind == kKinds) return tell();
    const uint32_t which = input_.below(kOfAKind);
    if (input_.flag())
        createOne(kind, which);
    else
        removeOne(kind, which);
}

void Handles::end() {
    for (uint32_t kind = 0; kind < kKinds; ++kind)
        for (uint32_t i = 0; i < kOfAKind; ++i) FUZZ_SAME(remove(kind, i, &kept_[kind][i]), 0);
    FUZZ_SAME(live(), 0u);
}

size_t Handles::live() const {
    size_t count = 0;
    for (const auto& kind : kept_)
        for (const HalHwHandle* handle : kind) count += handle != nullptr;
    return count;
}

}  // namespace pcsim::fuzz
