// The control block of a probed process: a file that the process and whoever controls it have in
// their memory. What is counted lives in it, so that it can be read without the process's help and
// after its death; and a mailbox, through which the process is asked for what only it can do.
//
// Nobody waits for anybody in here: the process looks at one word with each call, and serves a
// request on the thread that made the call. Whoever writes may die in the middle; what he has begun
// is told from what is whole by the word that is written last.
//
//   header | sites | open calls | entries of the flight recorder
#ifndef PCSIM_PROBE_CONTROL_BLOCK_H
#define PCSIM_PROBE_CONTROL_BLOCK_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "probe/boundary/call.h"

namespace pcsim::probe {

inline constexpr char kBlockMagic[8] = {'p', 'c', 'S', 'i', 'm', 'P', 'r', 'b'};
// Both sides must have the same: it changes with every change of the records below.
inline constexpr uint32_t kBlockVersion = 1;
inline constexpr char kBlockEnding[] = ".probe";
inline constexpr uint32_t kMostSites = 2048;
inline constexpr uint32_t kMostFlight = 1'000'000;  // entries

// A site with what is counted of it. Rows are filled once and stay; a row counts when 'sites' of
// the header says so.
struct SiteRow {
    char name[80];
    char function[80];  // of its description
    char table[24];
    char word[40];
    uint32_t side;
    Counts counts;
};

// A request on its way to the process, and the answer on its way back. A client takes the box by
// its own id, writes, and sets 'flag'; the process takes the flag, writes, and clears it.
struct Mailbox {
    enum Flag : uint32_t { kEmpty, kAsked, kServing };

    std::atomic<int32_t> client;        // its process id; 0: the box is free
    std::atomic<uint64_t> clientStart;  // 0: not written yet
    std::atomic<uint32_t> flag;         // what the process looks at with each call
    std::atomic<uint32_t> asked;        // number of the request
    std::atomic<uint32_t> answered;     // number of the last request that was answered
    uint32_t failed;                    // the answer says what was wrong with the request
    uint32_t requestSize;
    uint32_t answerSize;
    char request[8192];
    char answer[256 * 1024];
};

// The beginning of a call that hasn't returned.
struct OpenCall {
    std::atomic<uint64_t> number;  // 0: none
    uint32_t site;
    uint32_t thread;
    uint32_t depth;
    uint32_t reserved;
};
inline constexpr uint32_t kMostOpen = 256;

// One call of the flight recorder: its words, and of what lies behind them as much as fits.
struct FlightEntry {
    static constexpr uint32_t kWords = 16;
    static constexpr uint32_t kMemory = 680;
    enum State : uint32_t { kEntered, kReturned };

    std::atomic<uint64_t> number;  // written last; 0: being written
    uint64_t result;
    std::atomic<uint32_t> state;
    uint32_t site;
    uint32_t thread;
    uint32_t depth;
    uint32_t answered;  // by a rule instead of by its target
    uint32_t words;
    uint32_t word[kWords];
    uint32_t memorySize[2];  // before the call, and after it
    uint8_t memory[2][kMemory];
};

struct BlockHeader {
    char magic[8];
    uint32_t version;
    uint32_t headerSize;
    uint32_t siteSize;
    uint32_t entrySize;
    uint64_t fileSize;

    int32_t pid;
    uint32_t reserved;
    uint64_t start;      // of the process, as startOf() tells it
    uint64_t startedAt;  // seconds since 1970
    char name[64];
    char program[256];
    char library[256];  // that was found; "": none yet

    std::atomic<uint32_t> ended;   // by exit, or by returning from main
    std::atomic<uint32_t> waited;  // 'waitStatus' is what the process left
    int32_t waitStatus;
    std::atomic<uint32_t> sites;
    std::atomic<uint32_t> sitesLeftOut;  // there were more than rows

    uint32_t flightSize;  // entries of the recorder; 0: there is none
    OpenCall open[kMostOpen];
    Mailbox mailbox;
};

// Both sides are 32-bit programs of the same build or of one of the same version.
static_assert(sizeof(std::atomic<uint64_t>) == 8 && alignof(std::atomic<uint64_t>) == 8);
static_assert(std::is_standard_layout_v<BlockHeader> && std::is_standard_layout_v<SiteRow> &&
              std::is_standard_layout_v<FlightEntry>);

inline constexpr size_t blockSize(uint32_t flightSize) {
    return sizeof(BlockHeader) + sizeof(SiteRow) * kMostSites + sizeof(FlightEntry) * flightSize;
}

inline SiteRow* sitesOf(BlockHeader* block) {
    return reinterpret_cast<SiteRow*>(block + 1);
}
inline const SiteRow* sitesOf(const BlockHeader* block) {
    return reinterpret_cast<const SiteRow*>(block + 1);
}
// The row that a site is counted in; kMostSites when it is counted elsewhere.
inline uint32_t rowIndex(BlockHeader* block, const Site& site) {
    const auto counts = reinterpret_cast<uintptr_t>(site.counts);
    const auto first = reinterpret_cast<uintptr_t>(&sitesOf(block)->counts);
    const uintptr_t index = (counts - first) / sizeof(SiteRow);
    return counts < first || index >= kMostSites ? kMostSites : static_cast<uint32_t>(index);
}

inline FlightEntry* flightOf(BlockHeader* block) {
    return reinterpret_cast<FlightEntry*>(sitesOf(block) + kMostSites);
}
inline const FlightEntry* flightOf(const BlockHeader* block) {
    return reinterpret_cast<const FlightEntry*>(sitesOf(block) + kMostSites);
}

}  // namespace pcsim::probe

#endif
