// The hooks that the library's calls of the C library lead to, and the state between inputs.
#include "tests/fuzz/support/library.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unordered_set>

#include "tests/fuzz/support/fdb_block.h"
#include "tests/fuzz/support/host.h"
#include "tests/support/tree.h"

// Where the linker has put the library's variables.
extern "C" {
extern uint8_t __start_pcsim_data[], __stop_pcsim_data[];
extern uint8_t __start_pcsim_bss[], __stop_pcsim_bss[];
}

namespace pcsim::fuzz {
namespace {

constexpr int kDescriptor = 1000;

std::unordered_set<void*>& blocks() {
    static std::unordered_set<void*> all;
    return all;
}

bool allocationFails() {
    Library& state = library();
    ++state.allocationCalls;
    if (state.failAllocation == 0 || --state.failAllocation != 0) return false;
    errno = ENOMEM;
    return true;
}

void* noted(void* block) {
    if (block != nullptr) blocks().insert(block);
    return block;
}

void freeBlock(void* block) {
    if (!releaseFdbBlock(block)) std::free(block);
}

// The variables of the library as they were at the start, and a way to put them back. Word by word:
// the sanitizer keeps gaps between variables, which its memcpy() must not touch.
class Words {
public:
    Words(uint8_t* start, const uint8_t* end) : words_(reinterpret_cast<uint32_t*>(start)) {
        const size_t count = static_cast<size_t>(end - start) / sizeof(uint32_t);
        for (size_t i = 0; i < count; ++i) saved_.push_back(uint32_t{words_[i]});
    }
    // What no input has changed is only read, a block at a time.
    void restore() const {
        for (size_t i = 0; i < saved_.size(); i += kBlock) {
            const size_t end = std::min(i + kBlock, saved_.size());
            uint32_t changed = 0;
            for (size_t at = i; at < end; ++at) changed |= words_[at] ^ saved_[at];
            if (changed == 0) continue;
            for (size_t at = i; at < end; ++at)
                if (words_[at] != saved_[at]) words_[at] = saved_[at];
        }
    }

private:
    static constexpr size_t kBlock = 64;

    uint32_t* words_;
    std::vector<uint32_t> saved_;
};

// Whole pages of them, of which the kernel knows what has been changed: it keeps copies of those
// alone, and forgets them. There are two megabytes of counters.
class Pages {
public:
    Pages(uint8_t* start, const uint8_t* end)
        : start_(start), size_(static_cast<size_t>(end - start)) {
        if (size_ == 0) return;
        const int saved = memfd_create("variables", MFD_CLOEXEC);
        // Not write(), whose arguments the sanitizer looks at.
        if (saved < 0 || syscall(SYS_write, saved, start, size_) != static_cast<long>(size_) ||
            mmap(start, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, saved, 0) != start)
            std::abort();
        close(saved);
    }
    void restore() const {
        if (size_ != 0) madvise(start_, size_, MADV_DONTNEED);
    }

private:
    uint8_t* start_;
    size_t size_;
};

// All from start to end: where there are many, the pages between the first and the last words.
class Variables {
public:
    Variables(uint8_t* start, uint8_t* end)
        : Variables(start, end, end - start < kMany ? end : pageOf(start + kPage - 1),
                    end - start < kMany ? end : pageOf(end)) {}
    void restore() const {
        first_.restore();
        pages_.restore();
        last_.restore();
    }

private:
    static constexpr ptrdiff_t kPage = 4096;
    static constexpr ptrdiff_t kMany = 16 * kPage;

    Variables(uint8_t* start, uint8_t* end, uint8_t* inner, uint8_t* innerEnd)
        : first_(start, inner), last_(innerEnd, end), pages_(inner, innerEnd) {}
    // The start of the page that a place lies in.
    static uint8_t* pageOf(uint8_t* place) {
        return place - reinterpret_cast<uintptr_t>(place) % kPage;
    }

    Words first_;
    Words last_;
    Pages pages_;
};

// Formats where the host is to look at arguments; most inputs do without.
__attribute__((format(printf, 1, 0))) int print(const char* format, va_list arguments) {
    ++library().printed;
    return formatted(format, arguments);
}

}  // namespace

Library& library() {
    static Library state;
    return state;
}

size_t liveBlocks() {
    return blocks().size();
}

bool isLive(const void* block) {
    return blocks().contains(const_cast<void*>(block));
}

void handOver(void* block) {
    noted(block);
}

void release(void* block) {
    if (blocks().erase(block) != 1) std::abort();
    freeBlock(block);
}

void freshLibrary() {
    static const Variables data(__start_pcsim_data, __stop_pcsim_data);
    static const Variables bss(__start_pcsim_bss, __stop_pcsim_bss);
    for (void* block : blocks()) freeBlock(block);
    blocks().clear();
    data.restore();
    bss.restore();
    library() = {};
    test::tree() = {};
    freshHost();
}

}  // namespace pcsim::fuzz

using namespace pcsim::fuzz;

extern "C" {

// Never zero, so that what the library leaves unset shows.
void* hookedMalloc(size_t size) {
    void* const block = allocationFails() ? nullptr : noted(std::malloc(size));
    if (block != nullptr) std::memset(block, 0xA5, size);
    return block;
}

void* hookedCalloc(size_t count, size_t size) {
    if (allocationFails()) return nullptr;
    void* const block = takeFdbBlock(count * size);
    return noted(block != nullptr ? block : std::calloc(count, size));
}

void* hookedRealloc(void* block, size_t size) {
    if (allocationFails()) return nullptr;
    if (block != nullptr && blocks().erase(block) != 1) std::abort();
    return noted(std::realloc(block, size));
}

void hookedFree(void* block) {
    if (block == nullptr) return;
    blocks().erase(block);
    freeBlock(block);  // of what it has not, the sanitizer tells
}

int hookedMadvise(void*, size_t, int) {
    return 0;
}

int hookedRand() {
    Library& state = library();
    if (state.randoms.empty()) return 0;
    const int next = state.randoms.back();
    state.randoms.pop_back();
    return next;
}

time_t hookedTime(time_t* out) {
    constexpr time_t kNow = 1000000000;
    if (out != nullptr) *out = kNow;
    return kNow;
}

const char* hookedGetenv(const char*) {
    return library().slotId;
}

__attribute__((format(printf, 1, 2))) int hookedPrintf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print(format, arguments);
    va_end(arguments);
    return result;
}

int hookedPuts(const char*) {
    ++library().printed;
    return 1;
}

int hookedFputs(const char*, FILE*) {
    ++library().printed;
    return 1;
}

int hookedPutchar(int character) {
    return character;
}

int hookedSocket(int, int, int) {
    if (library().failSocket) return -1;
    ++library().openFiles;
    return kDescriptor;
}

int hookedIoctl(int, unsigned long request, void* argument) {
    return library().ioctl ? library().ioctl(request, argument) : -1;
}

ssize_t hookedPread(int, void* to, size_t wanted, off_t offset) {
    const Library& state = library();
    const std::string& file = *state.file;
    if (static_cast<size_t>(offset) >= file.size()) return 0;
    size_t length = std::min(wanted, file.size() - static_cast<size_t>(offset));
    if (state.shortRead) length = std::min(length, state.shortRead(length));
    std::memcpy(to, file.data() + offset, length);
    return static_cast<ssize_t>(length);
}

int hookedOpen(const char*, int, ...) {
    if (library().file == nullptr) return -1;
    ++library().openFiles;
    return kDescriptor;
}

int hookedClose(int descriptor) {
    if (descriptor != kDescriptor || --library().openFiles < 0) std::abort();
    return 0;
}
}
