// The files that a fuzzer's input may name, "a" to "d", in memory. Nothing else can be opened, made
// or started: what is fuzzed here reads and writes files that a line names.
//
// The program is linked with kWrapped (CMakeLists.txt), which leads the C library's functions here.
#ifndef PCSIM_TESTS_FUZZ_TEXT_FILES_H
#define PCSIM_TESTS_FUZZ_TEXT_FILES_H

#include <cstddef>
#include <string>
#include <string_view>

namespace pcsim::fuzz {

constexpr size_t kFiles = 4;

// Gives a file its contents.
void setFile(size_t index, std::string_view text);
// "a" of 0.
const char* fileName(size_t index);
// A name that leads to it where files are opened without these functions; it has been set.
std::string filePath(size_t index);

}  // namespace pcsim::fuzz

#endif
