// The usual forms of addresses and prefixes, read without the detour over strings: four decimal
// numbers without leading zeros, and a length. False for everything else, which is for the general
// parsers (console/values.h).
#ifndef PCSIM_HOST_L3_USUAL_FORMS_H
#define PCSIM_HOST_L3_USUAL_FORMS_H

#include <string_view>

#include "console/values.h"

namespace pcsim::host {

bool readUsualPrefix(std::string_view text, IpPrefix& prefix);
bool readUsualAddress(std::string_view text, IpAddress& address);

}  // namespace pcsim::host

#endif
