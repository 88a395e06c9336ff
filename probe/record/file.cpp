// Windows on the file, and entries in them.
#include "probe/record/file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace pcsim::probe {
namespace {

constexpr size_t kWindow = 4u << 20;
constexpr size_t kHeadLongest = 1 + 10 + 2;

size_t roundedToPage(uint64_t size) {
    return static_cast<size_t>(size + 4095) & ~size_t{4095};
}

}  // namespace

bool RecordFile::open(const std::string& path) {
    if (!openAside(path)) return false;
    if (const int error = file_.place()) {
        abandon();
        errno = error;
        return false;
    }
    file_.release();
    return true;
}

bool RecordFile::openAside(const std::string& path) {
    if (const int error = file_.open(path)) {
        errno = error;
        return false;
    }
    descriptor_ = file_.descriptor();
    if (!moveOn(format::kMagic.size() + 1)) {
        const int error = errno;
        abandon();
        errno = error;
        return false;
    }
    std::memcpy(window_, format::kMagic.data(), format::kMagic.size());
    window_[format::kMagic.size()] = format::kVersion;
    used_ = format::kMagic.size() + 1;
    return true;
}

// Has the window begin in the page where the next entry will.
bool RecordFile::moveOn(size_t size) {
    const uint64_t next = windowOffset_ + used_;
    const uint64_t begin = next & ~uint64_t{4095};
    const size_t wanted = roundedToPage((next - begin) + size + kWindow);
    errno =
        posix_fallocate64(descriptor_, static_cast<off64_t>(begin), static_cast<off64_t>(wanted));
    if (errno != 0) return false;
    void* const window = mmap64(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_,
                                static_cast<off64_t>(begin));
    if (window == MAP_FAILED) return false;
    madvise(window, wanted, MADV_DONTFORK);
    if (window_ != nullptr) munmap(window_, windowSize_);
    window_ = static_cast<uint8_t*>(window);
    windowSize_ = wanted;
    windowOffset_ = begin;
    used_ = static_cast<size_t>(next - begin);
    return true;
}

bool RecordFile::append(format::EntryKind kind, std::span<const uint8_t> contents) {
    if (full_ || descriptor_ < 0) return false;
    // One byte more: the end of the entries must be seen, too.
    const size_t longest = kHeadLongest + contents.size() + 1;
    if (used_ + longest > windowSize_ && !moveOn(longest)) {
        full_ = true;
        return false;
    }
    uint8_t* const entry = window_ + used_;
    uint8_t* place = entry + 1;
    size_t length = contents.size();
    for (; length >= 0x80; length >>= 7) *place++ = static_cast<uint8_t>(length | 0x80);
    *place++ = static_cast<uint8_t>(length);
    const uint16_t check = format::checkOf(kind, contents);
    *place++ = static_cast<uint8_t>(check);
    *place++ = static_cast<uint8_t>(check >> 8);
    if (!contents.empty()) std::memcpy(place, contents.data(), contents.size());
    used_ = static_cast<size_t>(place - window_) + contents.size();
    std::atomic_signal_fence(std::memory_order_release);
    *static_cast<volatile uint8_t*>(entry) = kind;
    return true;
}

bool RecordFile::close() {
    if (descriptor_ < 0) return true;
    int error = full_ ? ENOSPC : 0;
    if (ftruncate64(descriptor_, static_cast<off64_t>(windowOffset_ + used_)) != 0) error = errno;
    if (error == 0 && isAside()) error = file_.keep();
    abandon();
    errno = error;
    return error == 0;
}

void RecordFile::abandon() {
    if (descriptor_ < 0) return;
    if (window_ != nullptr) munmap(window_, windowSize_);
    if (!isAside()) ::close(descriptor_);
    descriptor_ = -1;
    window_ = nullptr;
}

}  // namespace pcsim::probe
