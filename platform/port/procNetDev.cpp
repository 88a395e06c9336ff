// Reading "/proc/net/dev".
#include "platform/port/procNetDev.h"

#include <ctype.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/port/mii.h"

namespace pcsim {

namespace {

constexpr size_t kLineLength = 511;   // longer lines count as several
constexpr size_t kReadLength = 4096;  // the kernel never hands out more at a time
constexpr size_t kNearby = 512;       // how far to read on where the line isn't where it was
constexpr int kHeaderLines = 2;

// The table that a call has left open, -1 without one. Taken and left by atomic operations, so that
// no two calls ever have the same.
int leftOpen = -1;

// Where the line of each interface ended when it was last read, 0 when that isn't known. Lines
// seldom move: the columns are wide, and interfaces stay in the order in which they were made. The
// host counts at most 100 interfaces beside eth0; any beyond have no entry. An entry is a hint, so
// calls on several threads may overwrite each other's.
constexpr uint32_t kKnownInterfaces = 101;
size_t lineEnds[kKnownInterfaces];

size_t lineEndOf(uint32_t interfaceNumber) noexcept {
    if (interfaceNumber >= kKnownInterfaces) return 0;
    return __atomic_load_n(&lineEnds[interfaceNumber], __ATOMIC_RELAXED);
}

void rememberLineEnd(uint32_t interfaceNumber, size_t lineEnd) noexcept {
    if (interfaceNumber >= kKnownInterfaces) return;
    __atomic_store_n(&lineEnds[interfaceNumber], lineEnd, __ATOMIC_RELAXED);
}

// The lines of the table, in pieces of at most kLineLength characters with their line ends.
class Lines {
public:
    // 'expected' is how much of the table is likely to be needed.
    Lines(int table, size_t expected) noexcept : table_(table), expected_(expected) {}

    // Each piece ends with a NUL and stays valid until the next. Null at the end of the table.
    char* next() noexcept {
        *end_ = saved_;
        char* line = end_;
        size_t length = pieceLength(line, 0);
        while (length == 0) {
            const size_t scanned = static_cast<size_t>(filled_ - line);
            if (!fill(line)) {
                length = static_cast<size_t>(filled_ - line);
                break;
            }
            length = pieceLength(line, scanned);
        }
        end_ = line + length;
        saved_ = length != 0 ? *end_ : '\0';
        *end_ = '\0';
        return length != 0 ? line : nullptr;
    }

    // How much of the table the pieces so far make up.
    size_t consumed() const noexcept { return offset_ - static_cast<size_t>(filled_ - end_); }

private:
    // Length of the piece that begins at 'line', 0 when the text read so far doesn't show its end.
    size_t pieceLength(const char* line, size_t scanned) const noexcept {
        const size_t available = static_cast<size_t>(filled_ - line);
        const size_t limit = available < kLineLength ? available : kLineLength;
        const void* newline = memchr(line + scanned, '\n', limit - scanned);
        if (newline != nullptr)
            return static_cast<size_t>(static_cast<const char*>(newline) - line) + 1;
        return limit == kLineLength ? limit : 0;
    }

    // Reads on; the unfinished piece at 'line' moves to the front. False at the end of the table.
    bool fill(char*& line) noexcept {
        const size_t unfinished = static_cast<size_t>(filled_ - line);
        memmove(text_, line, unfinished);
        line = text_;
        filled_ = text_ + unfinished;
        size_t wanted = expected_ > offset_ ? expected_ - offset_ : kNearby;
        if (wanted > kReadLength) wanted = kReadLength;
        const ssize_t length = pread(table_, filled_, wanted, static_cast<off_t>(offset_));
        if (length <= 0) return false;
        filled_ += length;
        offset_ += static_cast<size_t>(length);
        return true;
    }

    char text_[kLineLength + kReadLength + 1];
    char* filled_ = text_;  // end of the text read
    char* end_ = text_;     // end of the piece last handed out
    char saved_ = '\0';     // the character that its NUL stands for
    size_t offset_ = 0;     // how much of the table has been read
    const int table_;
    const size_t expected_;
};

uint32_t readNumbers(const char* text, uint64_t (&columns)[kProcNetDevColumns]) noexcept {
    for (uint32_t i = 0; i < kProcNetDevColumns; ++i) {
        char* end;
        const uint64_t number = strtoull(text, &end, 10);
        if (end == text) return i;
        columns[i] = number;
        text = end;
    }
    return kProcNetDevColumns;
}

}  // namespace

ProcNetDev::ProcNetDev() noexcept
    : descriptor_(__atomic_exchange_n(&leftOpen, -1, __ATOMIC_ACQ_REL)) {
    if (descriptor_ < 0) descriptor_ = open(kProcNetDev, O_RDONLY | O_CLOEXEC);
}

ProcNetDev::~ProcNetDev() {
    if (descriptor_ >= 0) close(descriptor_);
}

void ProcNetDev::leaveOpen() noexcept {
    int none = -1;
    if (__atomic_compare_exchange_n(&leftOpen, &none, descriptor_, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_RELAXED))
        descriptor_ = -1;
}

uint32_t ProcNetDev::read(uint32_t interfaceNumber,
                          uint64_t (&columns)[kProcNetDevColumns]) const noexcept {
    const InterfaceName wanted(interfaceNumber);
    Lines lines(descriptor_, lineEndOf(interfaceNumber));
    for (int i = 0; i < kHeaderLines; ++i)
        if (lines.next() == nullptr) return 0;
    while (char* line = lines.next()) {
        char name[kLineLength + 1];
        const char* counters = pcSimProcNetDevSplitName(name, line);
        if (strcmp(name, wanted.text) != 0) continue;
        rememberLineEnd(interfaceNumber, lines.consumed());
        return readNumbers(counters, columns);
    }
    return 0;
}

}  // namespace pcsim

extern "C" char* pcSimProcNetDevSplitName(char* name, char* line) noexcept {
    const auto isOneOf = [](char c, int (*test)(int)) {
        return test(static_cast<unsigned char>(c));
    };
    while (isOneOf(*line, isspace)) ++line;
    while (*line != '\0' && *line != ':' && !isOneOf(*line, isspace)) *name++ = *line++;
    if (*line == ':') {
        // Digits and a second colon make an alias; digits alone are the first counter, which the
        // kernel doesn't always set off with a space.
        char* end = line + 1;
        while (isOneOf(*end, isdigit)) ++end;
        if (*end == ':' && end > line + 1) {
            while (line < end) *name++ = *line++;
        }
        ++line;
    }
    *name = '\0';
    return line;
}
