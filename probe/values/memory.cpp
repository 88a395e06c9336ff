// Reading this process's own memory where it may not be there.
#include "probe/values/memory.h"

#include <errno.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace pcsim::probe {

namespace {

constexpr uint32_t kPageBytes = 4096;

const char* pointerTo(Word address) {
    return reinterpret_cast<const char*>(address);
}

// Has the kernel read eight bytes, for a request that it then refuses: cheaper than any call that
// copies, and allowed where a sandbox denies those that look into processes.
bool pageIsReadable(Word address) {
    const Word at = address & ~Word{7};
    const int before = errno;
    const long result = syscall(SYS_rt_sigprocmask, ~0l, pointerTo(at), nullptr, 8);
    const bool refused = result < 0 && errno == EFAULT;
    errno = before;
    return !refused;
}

// How many of the bytes can be read, up to the end of a page.
uint32_t readableBytes(Word address, uint32_t bytes) {
    if (bytes > ~address) return 0;
    uint32_t known = 0;
    while (known < bytes && pageIsReadable(address + known))
        known += kPageBytes - static_cast<uint32_t>((address + known) & (kPageBytes - 1));
    return std::min(known, bytes);
}

}  // namespace

const void* LiveMemory::at(Word address, uint32_t bytes, bool certain) const {
    if (!certain && readableBytes(address, bytes) < bytes) return nullptr;
    return pointerTo(address);
}

uint32_t LiveMemory::textBytes(Word address, uint32_t limit, bool certain) const {
    uint32_t known = 0;
    while (known < limit) {
        const Word rest = kPageBytes - ((address + known) & (kPageBytes - 1));
        const auto part = static_cast<uint32_t>(std::min<Word>(rest, limit - known));
        if (!certain && !pageIsReadable(address + known)) return 0;
        const size_t length = strnlen(pointerTo(address + known), part);
        if (length < part) return known + static_cast<uint32_t>(length) + 1;
        known += part;
    }
    return known;
}

const LiveMemory& liveMemory() {
    static const LiveMemory memory;
    return memory;
}

}  // namespace pcsim::probe
