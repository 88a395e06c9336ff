// The block lies between pages that can't be touched, and can't be touched itself once it is free.
#include "tests/fuzz/support/fdb_block.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "pcsim/l2.h"

namespace pcsim::fuzz {
namespace {

constexpr size_t kPage = 4096;
constexpr size_t kSize = HAL_FDB_ENTRIES * sizeof(HalFdbEntry);
static_assert(kSize % kPage == 0);

uint8_t* block;
bool taken;

void must(bool done) {
    if (done) return;
    std::perror("the memory of the forwarding database");
    std::abort();
}

void mapBlock() {
    void* const all = mmap(nullptr, kSize + 2 * kPage, PROT_NONE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    must(all != MAP_FAILED);
    block = static_cast<uint8_t*>(all) + kPage;
    madvise(block, kSize, MADV_NOHUGEPAGE);
}

}  // namespace

void* takeFdbBlock(size_t size) {
    if (size != kSize || taken) return nullptr;
    if (block == nullptr) mapBlock();
    must(mprotect(block, kSize, PROT_READ | PROT_WRITE) == 0);
    taken = true;
    return block;
}

bool releaseFdbBlock(const void* freed) {
    if (!taken || freed != block) return false;
    must(madvise(block, kSize, MADV_DONTNEED) == 0);
    must(mprotect(block, kSize, PROT_NONE) == 0);
    taken = false;
    return true;
}

void forTouchedFdbPages(const std::function<void(const uint8_t* page, size_t length)>& visit) {
    static std::vector<unsigned char> touched(kSize / kPage);
    if (!taken) return;
    must(mincore(block, kSize, touched.data()) == 0);
    for (size_t i = 0; i < touched.size(); ++i)
        if ((touched[i] & 1) != 0) visit(block + i * kPage, kPage);
}

}  // namespace pcsim::fuzz
