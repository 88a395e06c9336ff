// The numbers come from the build, which has them from python/pcsim/version.py. No other file is
// compiled anew when they change.
#include "lab/version.h"

namespace pcsim {

const char kVersion[] = PCSIM_VERSION;
const char kAbi[] = PCSIM_ABI;
const int kProtocol = PCSIM_PROTOCOL;

std::string versionText(std::string_view program) {
    return std::string(program) + " " + kVersion + "\nlibrary " + kVersion + ", ABI " + kAbi +
           "\nprotocol " + std::to_string(kProtocol) + "\n";
}

}  // namespace pcsim
