// Keeping calls in the ring of a control block.
#include "probe/control/flight.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>

#include "probe/values/blocks.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kDepths = 16;
constexpr uint32_t kThreads = kMostOpen / kDepths;

// A piece of memory in an entry, in front of its bytes.
struct PieceHeader {
    uint32_t address;
    uint32_t bytes;
};

bool inChild = false;

void leaveToParent() {
    inChild = true;
}

constexpr uint32_t padded(uint32_t bytes) {
    return (bytes + 3) & ~3u;
}

// What of a call's memory an entry has room for: whole blocks, and the beginning of the first that
// doesn't fit.
uint32_t keep(uint8_t (&memory)[FlightEntry::kMemory], const Call& call, Phase phase) {
    uint32_t used = 0;
    const CallWords words{*call.site.function, call.arguments, call.argumentWords, call.result};
    visitBlocks(words, phase, liveMemory(), [&](const Block& block) {
        if (block.content == nullptr || used + sizeof(PieceHeader) >= FlightEntry::kMemory) return;
        const uint32_t room = FlightEntry::kMemory - used - sizeof(PieceHeader);
        const PieceHeader header{block.address, std::min(block.bytes, room)};
        memcpy(memory + used, &header, sizeof header);
        memcpy(memory + used + sizeof header, block.content, header.bytes);
        used += static_cast<uint32_t>(sizeof header) + padded(header.bytes);
    });
    return std::min(used, FlightEntry::kMemory);
}

}  // namespace

FlightRecorder::FlightRecorder(BlockHeader& block, bool tree) : block_(block), tree_(tree) {
    pthread_atfork(nullptr, nullptr, leaveToParent);
}

bool FlightRecorder::wants(const Site& site) const {
    const Operation* const operation = operationNamed(site.name);
    if (operation == nullptr) return true;  // a callback
    if (isOfTree(operation->name)) return tree_;
    return operation->header != "c_library";
}

FlightEntry& FlightRecorder::entryOf(const Call& call) const {
    return flightOf(&block_)[call.number % block_.flightSize];
}

OpenCall& FlightRecorder::openOf(uint32_t thread, uint32_t depth) const {
    return block_.open[(thread - 1) % kThreads * kDepths + std::min(depth, kDepths - 1)];
}

void FlightRecorder::before(Call& call) {
    if (inChild) return;
    FlightEntry& entry = entryOf(call);
    entry.number.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    entry.result = 0;
    entry.state.store(FlightEntry::kEntered, std::memory_order_relaxed);
    entry.site = rowIndex(&block_, call.site);
    entry.thread = call.thread;
    entry.depth = call.depth;
    entry.answered = 0;
    entry.words = std::min(call.argumentWords, FlightEntry::kWords);
    std::copy_n(call.arguments, entry.words, entry.word);
    entry.memorySize[0] = keep(entry.memory[0], call, Phase::kBefore);
    entry.memorySize[1] = 0;
    entry.number.store(call.number, std::memory_order_release);

    OpenCall& open = openOf(call.thread, call.depth);
    open.site = entry.site;
    open.thread = call.thread;
    open.depth = call.depth;
    open.number.store(call.number, std::memory_order_release);
    // Calls that were left by a jump have no end: what is deeper than this one is no more.
    for (uint32_t depth = call.depth + 1; depth < kDepths; ++depth) {
        OpenCall& left = openOf(call.thread, depth);
        if (left.number.load(std::memory_order_relaxed) == 0) break;
        left.number.store(0, std::memory_order_relaxed);
    }
}

void FlightRecorder::after(Call& call) {
    if (inChild) return;
    OpenCall& open = openOf(call.thread, call.depth);
    if (open.number.load(std::memory_order_relaxed) == call.number)
        open.number.store(0, std::memory_order_release);
    FlightEntry& entry = entryOf(call);
    if (entry.number.load(std::memory_order_relaxed) != call.number) return;
    entry.result = call.result;
    entry.answered = call.answered ? 1 : 0;
    entry.memorySize[1] = keep(entry.memory[1], call, Phase::kAfter);
    entry.state.store(FlightEntry::kReturned, std::memory_order_release);
}

KeptMemory::KeptMemory(const FlightEntry& entry, bool after) {
    if (after) collect(entry, 1);
    collect(entry, 0);
}

void KeptMemory::collect(const FlightEntry& entry, uint32_t side) {
    const uint8_t* const memory = entry.memory[side];
    const uint32_t size = std::min(entry.memorySize[side], FlightEntry::kMemory);
    for (uint32_t at = 0; at + sizeof(PieceHeader) <= size;) {
        PieceHeader header;
        memcpy(&header, memory + at, sizeof header);
        at += static_cast<uint32_t>(sizeof header);
        const uint32_t bytes = std::min(header.bytes, size - at);
        pieces_.push_back({header.address, bytes, memory + at});
        at += padded(bytes);
    }
}

const KeptMemory::Piece* KeptMemory::pieceAt(uint32_t address) const {
    const auto found = std::ranges::find_if(pieces_, [&](const Piece& piece) {
        return address - piece.address < piece.bytes;  // wraps below the piece
    });
    return found != pieces_.end() ? &*found : nullptr;
}

const void* KeptMemory::at(uint32_t address, uint32_t bytes, bool) const {
    const Piece* const piece = pieceAt(address);
    if (piece == nullptr || bytes > piece->bytes - (address - piece->address)) return nullptr;
    return piece->content + (address - piece->address);
}

uint32_t KeptMemory::textBytes(uint32_t address, uint32_t limit, bool) const {
    const Piece* const piece = pieceAt(address);
    if (piece == nullptr) return 0;
    const uint32_t skipped = address - piece->address;
    const uint32_t known = std::min(piece->bytes - skipped, limit);
    const void* const end = memchr(piece->content + skipped, 0, known);
    if (end == nullptr) return known == limit ? limit : 0;
    return static_cast<uint32_t>(static_cast<const uint8_t*>(end) - piece->content) - skipped + 1;
}

Flight flightIn(const BlockCopy& block) {
    Flight flight;
    const BlockHeader& header = block.header();
    for (uint32_t i = 0; i < header.flightSize; ++i) {
        const FlightEntry& entry = block.flight()[i];
        if (entry.number != 0 && entry.site < block.siteCount()) flight.calls.push_back(&entry);
    }
    std::ranges::sort(flight.calls, {},
                      [](const FlightEntry* entry) { return entry->number.load(); });
    for (uint32_t thread = 0; thread < kThreads; ++thread) {
        std::vector<const OpenCall*> calls;
        for (uint32_t depth = 0; depth < kDepths; ++depth) {
            const OpenCall& open = header.open[thread * kDepths + depth];
            if (open.number != 0 && open.site < block.siteCount()) calls.push_back(&open);
        }
        if (!calls.empty()) flight.open.push_back(std::move(calls));
    }
    return flight;
}

}  // namespace pcsim::probe
