// What the programs are, and what they understand: the numbers of python/pcsim/version.py.
#ifndef PCSIM_LAB_VERSION_H
#define PCSIM_LAB_VERSION_H

#include <string>
#include <string_view>

namespace pcsim {

extern const char kVersion[];  // of the programs and the library, which are released together
extern const char kAbi[];      // of the library's binary interface, as in its file name
extern const int kProtocol;    // of what is spoken over an instance's socket

// What a program answers to --version, a fact a line; the first one is its name and version.
std::string versionText(std::string_view program);

}  // namespace pcsim

#endif
