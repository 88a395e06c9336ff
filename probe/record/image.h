// Memory as a recording knows it: a sparse copy of an address space, zero where nothing is known.
// Writer and reader keep the same one, so that only what has changed need be written.
#ifndef PCSIM_PROBE_RECORD_IMAGE_H
#define PCSIM_PROBE_RECORD_IMAGE_H

#include <cstdint>
#include <memory>
#include <span>

namespace pcsim::probe {

class Image {
public:
    Image();
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // As many bytes from 'address' on as lie together here, at most 'size'. Empty when there is no
    // memory for them.
    std::span<uint8_t> at(uint32_t address, uint32_t size);

private:
    static constexpr uint32_t kPieceBits = 16;
    static constexpr uint32_t kPieceSize = 1u << kPieceBits;

    uint8_t** pieces_;                     // by the upper bits of the address
    uint32_t lowest_ = ~0u, highest_ = 0;  // of those that there are
};

}  // namespace pcsim::probe

#endif
