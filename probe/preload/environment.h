// The environment of a program that the probe is preloaded into: taken, so that programs which it
// starts are as they are without the probe.
#ifndef PCSIM_PROBE_PRELOAD_ENVIRONMENT_H
#define PCSIM_PROBE_PRELOAD_ENVIRONMENT_H

#include <string_view>

namespace pcsim::probe {

// Removes the library whose file is called 'library' from LD_PRELOAD, and the variable when nothing
// else is in it. Other libraries stay, in their order. 'variables' is changed in place.
void leavePreload(char** variables, std::string_view library);

// Removes a variable and returns its value, which stays where it is; "" when there is none.
const char* takeVariable(char** variables, std::string_view name);

}  // namespace pcsim::probe

#endif
