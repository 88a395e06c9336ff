// Calls as text, in the words of the console: "vr 0 10.0.0.0/8 via 192.0.2.1 vlan 10", and as JSON.
//
// Parameters and fields stand under their names; records that people know by another form have that
// one (shorthands.h). Addresses have names (handles.h). Fields that are zero are left out of
// records, reserved bytes everywhere.
#ifndef PCSIM_PROBE_VALUES_TEXT_H
#define PCSIM_PROBE_VALUES_TEXT_H

#include <string>
#include <vector>

#include "probe/values/blocks.h"
#include "probe/values/handles.h"
#include "probe/values/tree.h"

namespace pcsim::probe {

// What a call is made with; "" when there is nothing to tell. Before the call.
std::string argumentsText(const CallWords& call, const Memory& memory, Handles& handles);
// What it answers, the result first and the outputs behind it: "0 link 1 duplex 1". After the call;
// "" where nothing comes back.
std::string resultText(const CallWords& call, const Memory& memory, Handles& handles);

// Members of a tree as text, the results without the name "result".
std::string textOf(const std::vector<Member>& members);
// The same as a JSON object.
std::string jsonOf(const std::vector<Member>& members);

}  // namespace pcsim::probe

#endif
