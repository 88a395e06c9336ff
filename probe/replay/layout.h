// What a replay must know of the bytes of a type: where pointers lie in them, and what needn't be
// the same. Worked out once for each type.
#ifndef PCSIM_PROBE_REPLAY_LAYOUT_H
#define PCSIM_PROBE_REPLAY_LAYOUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

struct Layout {
    struct Pointer {
        uint32_t offset;
        const Type* type;  // the pointer's
        const Semantics* semantics;
    };
    struct Piece {
        uint32_t offset;
        uint32_t size;
    };

    std::vector<Pointer> pointers;
    std::vector<Piece> free;  // may rightly differ, or is never looked at
};

const Layout& layoutOf(const Type& type);

// The field that holds the byte at 'offset' of an array of the type: its name behind the path
// ("[2].ports[0].kind"), the bytes that it has, and what they are.
struct Place {
    std::string path;
    uint32_t offset = 0;
    uint32_t size = 1;
    const Type* type = nullptr;  // null: bytes
    Meaning meaning = Meaning::kNone;
};
Place placeAt(const Type* element, uint32_t offset);

}  // namespace pcsim::probe

#endif
