// Names for what is told by its address: handles, nodes, functions. Addresses differ from run to
// run; these names are numbered in the order in which the things are met, so that the same run has
// the same names twice.
#ifndef PCSIM_PROBE_VALUES_HANDLES_H
#define PCSIM_PROBE_VALUES_HANDLES_H

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "probe/interface/model.h"

namespace pcsim::probe {

class Handles {
public:
    // "hwHandle#1": the name of the thing of 'type' at 'address'. 'fresh' says that it is a new one
    // also when there has been one at the address before.
    std::string name(const Type& type, Word address, bool fresh = false);
    // The name of a function: what 'functionName' calls it, else "callback#1".
    std::string function(Word address);

    // Knows functions by their address, "" for one that it doesn't know. Set by who has symbols.
    std::function<std::string(Word)> functionName;

private:
    std::string numbered(const std::string& kind, Word address, bool fresh);

    std::mutex mutex_;
    std::map<std::string, uint32_t> last_;  // the last number of each kind
    std::map<std::pair<std::string, Word>, uint32_t> numbers_;
};

// What things of a type are called: "adjacency", "hwHandle".
std::string kindOf(const Type& type);
// Whether things of a type are told by a name: of the library's those that it hands out to get them
// back, of the HAL's those that the library knows nothing of.
bool isNamed(const Type& type);

}  // namespace pcsim::probe

#endif
