// Where the bytes of a call are looked up by their address: in this process while the call is under
// way, or in what has been kept of a call of another one.
#ifndef PCSIM_PROBE_VALUES_MEMORY_H
#define PCSIM_PROBE_VALUES_MEMORY_H

#include <cstdint>

#include "probe/interface/model.h"

namespace pcsim::probe {

// The addresses of a call are words: those of a recorded one mean nothing here.
class Memory {
public:
    virtual ~Memory() = default;

    // The bytes from 'address' on; null where they are not all known. 'certain' says that the
    // callee has looked at them or will, so that they are there.
    virtual const void* at(Word address, uint32_t bytes, bool certain) const = 0;
    // Bytes of the text at 'address' with its NUL, at most 'limit'; 0 where it is not known.
    virtual uint32_t textBytes(Word address, uint32_t limit, bool certain) const = 0;
};

// The memory of this process. A pointer in a record may be anything when the callee doesn't look at
// it: what isn't certain is looked at only where the kernel can read it.
class LiveMemory final : public Memory {
public:
    const void* at(Word address, uint32_t bytes, bool certain) const override;
    uint32_t textBytes(Word address, uint32_t limit, bool certain) const override;
};

const LiveMemory& liveMemory();

}  // namespace pcsim::probe

#endif
