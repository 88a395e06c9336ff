// Lines between a 'repeat' and its 'end', until they run.
#ifndef PCSIM_CONSOLE_BLOCK_H
#define PCSIM_CONSOLE_BLOCK_H

#include <cstdint>
#include <string>
#include <vector>

#include "console/error.h"

namespace pcsim {

struct Block {
    struct Line {
        std::string text;
        unsigned number;  // in its script; 0 outside of one
    };

    static constexpr size_t kMostLines = 100000;
    static constexpr size_t kDeepest = 16;  // blocks in blocks that run

    uint64_t turns;
    std::string variable;  // has the turn, from 1
    unsigned begin;        // the line of the 'repeat'
    size_t open = 1;       // blocks that have begun and not ended, this one too
    std::vector<Line> lines{};
};

// What is said of a 'repeat' without 'end'.
CommandError unendedBlock();

}  // namespace pcsim

#endif
