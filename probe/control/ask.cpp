// The client's side of a control block: asking its process, and noting how it ended.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "console/error.h"
#include "probe/control/blocks.h"
#include "probe/control/process.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kLookMs = 2;

uint64_t nowMs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void pause() {
    const timespec moment{.tv_sec = 0, .tv_nsec = kLookMs * 1000000};
    nanosleep(&moment, nullptr);
}

// A block in our memory, for writing.
class Mapped {
public:
    explicit Mapped(const std::string& path) {
        const BlockCopy copy(path);  // says what is wrong with it
        size_ = static_cast<size_t>(copy.header().fileSize);
        const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
        void* const memory =
            file < 0 ? MAP_FAILED
                     : mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        const int error = errno;
        if (file >= 0) close(file);
        if (memory == MAP_FAILED) fail("{} can't be opened: {}", path, strerror(error));
        block_ = static_cast<BlockHeader*>(memory);
    }
    ~Mapped() { munmap(block_, size_); }
    Mapped(const Mapped&) = delete;
    Mapped& operator=(const Mapped&) = delete;

    BlockHeader* operator->() { return block_; }

private:
    BlockHeader* block_ = nullptr;
    size_t size_ = 0;
};

// Whether who holds the box is still there. Between taking it and writing when he was started he is
// known by his id alone.
bool holderRuns(const Mailbox& box, int32_t holder) {
    const uint64_t start = startOf(holder), written = box.clientStart.load();
    return start != 0 && (written == 0 || written == start);
}

// One request, from taking the mailbox to giving it back.
class Asking {
public:
    Asking(const BlockCopy& block, uint32_t waitMs)
        : block_(block), mapped_(block.path()), waitMs_(waitMs), deadline_(nowMs() + waitMs) {
        Mailbox& box = mapped_->mailbox;
        int32_t holder = 0;
        while (!box.client.compare_exchange_strong(holder, getpid())) {
            // One that died in the middle gives nothing back.
            if (!holderRuns(box, holder) && box.client.compare_exchange_strong(holder, getpid()))
                break;
            waitOr("is being asked by another process, {}", holder);
            holder = 0;
        }
        box.clientStart.store(startOf(getpid()));
    }
    ~Asking() {
        Mailbox& box = mapped_->mailbox;
        withdraw();
        box.clientStart.store(0);
        box.client.store(0);
    }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

    Answer ask(const std::string& request) {
        Mailbox& box = mapped_->mailbox;
        if (request.size() > sizeof box.request) fail("the command is too long");
        // What a client that died had asked is taken back, or waited for when it is being served.
        withdraw();
        while (box.flag.load() != Mailbox::kEmpty) waitOr("doesn't end what it was asked before");
        memcpy(box.request, request.data(), request.size());
        box.requestSize = static_cast<uint32_t>(request.size());
        const uint32_t number = box.asked.load() + 1;
        box.asked.store(number);
        box.flag.store(Mailbox::kAsked, std::memory_order_release);
        while (box.flag.load(std::memory_order_acquire) != Mailbox::kEmpty) {
            if (box.flag.load() == Mailbox::kServing)
                waitOr("doesn't end what it was asked");
            else
                waitOr("makes no call across the boundary: it answers with its next one");
        }
        if (box.answered.load() != number)
            fail("'{}' was asked something else meanwhile", block_.name());
        const size_t size = std::min<size_t>(box.answerSize, sizeof box.answer);
        return {box.failed != 0, std::string(box.answer, size)};
    }

private:
    void withdraw() {
        uint32_t asked = Mailbox::kAsked;
        mapped_->mailbox.flag.compare_exchange_strong(asked, Mailbox::kEmpty);
    }

    template <typename... Values>
    void waitOr(fmt::format_string<Values...> why, Values&&... values) {
        if (!block_.runs()) fail("'{}' (process {}) has ended", block_.name(), block_.header().pid);
        if (nowMs() >= deadline_)
            fail("'{}' (process {}) {} (waited {} ms; --wait SECONDS waits longer)", block_.name(),
                 block_.header().pid, fmt::format(why, std::forward<Values>(values)...), waitMs_);
        pause();
    }

    const BlockCopy& block_;
    Mapped mapped_;
    uint32_t waitMs_;
    uint64_t deadline_;
};

}  // namespace

Answer ask(const BlockCopy& block, const std::string& request, uint32_t waitMs) {
    if (!block.runs()) fail("'{}' (process {}) has ended", block.name(), block.header().pid);
    return Asking(block, waitMs).ask(request);
}

void noteEnd(const std::string& path, int waitStatus) {
    Mapped block(path);
    block->waitStatus = waitStatus;
    block->waited.store(1, std::memory_order_release);
}

}  // namespace pcsim::probe
