// Blocks that overlap or touch become one segment.
#include "probe/replay/host_memory.h"

#include <algorithm>

namespace pcsim::probe {
namespace {

// Places keep the alignment of their addresses.
constexpr size_t kAlignment = 16;

}  // namespace

bool isInSymbol(const Recording& recording, uint32_t address) {
    return std::any_of(recording.symbols.begin(), recording.symbols.end(),
                       [&](const RecordedSymbol& symbol) {
                           return !symbol.function && address - symbol.address < symbol.size;
                       });
}

HostMemory::HostMemory(const Recording& recording) {
    std::vector<Segment> found;
    for (const Event& event : recording.events)
        for (const RecordedBlock& block : event.blocks)
            if (!block.platform && !block.bytes.empty() && !isInSymbol(recording, block.address))
                found.push_back({block.address, uint64_t{block.address} + block.bytes.size(), 0});
    std::sort(found.begin(), found.end(),
              [](const Segment& a, const Segment& b) { return a.begin < b.begin; });
    for (const Segment& each : found) {
        if (!segments_.empty() && each.begin <= segments_.back().end)
            segments_.back().end = std::max(segments_.back().end, each.end);
        else
            segments_.push_back(each);
    }
    size_t size = 0;
    for (Segment& segment : segments_) {
        segment.offset = size + segment.begin % kAlignment;
        size = segment.offset + static_cast<size_t>(segment.end - segment.begin);
        size += kAlignment - size % kAlignment;
    }
    memory_.resize(size);
}

const HostMemory::Segment* HostMemory::find(uint32_t recorded) const {
    const auto after = std::upper_bound(
        segments_.begin(), segments_.end(), recorded,
        [](uint32_t address, const Segment& segment) { return address < segment.begin; });
    if (after == segments_.begin() || std::prev(after)->end <= recorded) return nullptr;
    return &*std::prev(after);
}

uint8_t* HostMemory::at(uint32_t recorded) const {
    return at(recorded, 1);
}

uint8_t* HostMemory::at(uint32_t recorded, size_t size) const {
    const Segment* const segment = find(recorded);
    if (segment == nullptr || recorded + uint64_t{size} > segment->end) return nullptr;
    return const_cast<uint8_t*>(memory_.data()) + segment->offset + (recorded - segment->begin);
}

}  // namespace pcsim::probe
