// Numbers of the paths by which a recorder has reached blocks of memory: each is defined in the
// recording when it first comes up.
#ifndef PCSIM_PROBE_RECORD_PATH_NUMBERS_H
#define PCSIM_PROBE_RECORD_PATH_NUMBERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "probe/record/encoder.h"
#include "probe/values/blocks.h"

namespace pcsim::probe {

class PathNumbers {
public:
    PathNumbers();

    // 0 when there are too many: the block goes without a type then.
    uint32_t of(const Function& function, const Block& block, Encoder& encoder);
    // Whether there are words of operation tables, or other functions, in its blocks.
    bool holdsFunctions(uint32_t path) const { return holdsFunctions_[path]; }

private:
    // What tells one path from another. The semantics' address stands for parameter or field.
    struct Path {
        const Function* function = nullptr;
        uint32_t parent = 0;
        const void* pointer = nullptr;
        const Type* element = nullptr;
        uint32_t number = 0;  // 0: a free place of the table

        bool isFor(const Path& other) const {
            return function == other.function && parent == other.parent &&
                   pointer == other.pointer && element == other.element;
        }
    };

    void define(Path& path, const Block& block, Encoder& encoder);

    std::vector<Path> table_;
    std::vector<std::string> texts_;  // by number
    std::vector<bool> holdsFunctions_;
};

}  // namespace pcsim::probe

#endif
