// The memory of the forwarding database. It is 14 MB, of which an input touches a few pages, so it
// is mapped once, and afterwards only those pages are made zero again.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_FDB_BLOCK_H
#define PCSIM_TESTS_FUZZ_SUPPORT_FDB_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <functional>

namespace pcsim::fuzz {

// The block when an allocation of that size is one of it and it is free, else null.
void* takeFdbBlock(size_t size);
// Whether that is the block, which can't be used from now on.
bool releaseFdbBlock(const void* block);

// Calls 'visit' with each page of the block that has been touched.
void forTouchedFdbPages(const std::function<void(const uint8_t* page, size_t length)>& visit);

}  // namespace pcsim::fuzz

#endif
