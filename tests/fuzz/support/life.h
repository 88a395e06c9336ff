// What is the same for each room of the library that has a model of its own.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_LIFE_H
#define PCSIM_TESTS_FUZZ_SUPPORT_LIFE_H

#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"
#include "tests/support/tree.h"

namespace pcsim::fuzz {

// A fresh library, under a host whose ways the first byte chooses, lives through the operations of
// the rest, and ends. 'Model' does them, run() and end(), and compares.
template <typename Model>
int live(const uint8_t* bytes, size_t size) {
    freshLibrary();
    Input input(bytes, size);
    const uint8_t how = input.byte();
    host().formatted = (how & 1) != 0;
    test::tree().success = (how & 2) != 0 ? 7 : 0;
    Model model(input);
    model.run();
    model.end();
    return 0;
}

}  // namespace pcsim::fuzz

#endif
