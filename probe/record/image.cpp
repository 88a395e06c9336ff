// The copy is mapped, not allocated: it must not move what the recorded program allocates.
#include "probe/record/image.h"

#include <sys/mman.h>

#include <algorithm>

namespace pcsim::probe {
namespace {

constexpr size_t kPieces = 1u << 16;

void* mapped(size_t size) {
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

}  // namespace

Image::Image() : pieces_(static_cast<uint8_t**>(mapped(kPieces * sizeof(uint8_t*)))) {}

Image::~Image() {
    if (pieces_ == nullptr) return;
    for (size_t index = lowest_; index <= highest_; ++index)
        if (pieces_[index] != nullptr) munmap(pieces_[index], kPieceSize);
    munmap(pieces_, kPieces * sizeof(uint8_t*));
}

std::span<uint8_t> Image::at(uint32_t address, uint32_t size) {
    if (pieces_ == nullptr) return {};
    const uint32_t index = address >> kPieceBits;
    uint8_t*& piece = pieces_[index];
    if (piece == nullptr) {
        piece = static_cast<uint8_t*>(mapped(kPieceSize));
        if (piece == nullptr) return {};
        lowest_ = std::min(lowest_, index);
        highest_ = std::max(highest_, index);
    }
    const uint32_t offset = address & (kPieceSize - 1);
    return {piece + offset, std::min(size, kPieceSize - offset)};
}

}  // namespace pcsim::probe
