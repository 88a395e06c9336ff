// The lines of all managers, and of what is nobody's.
#include <algorithm>

#include "host/acl/acl_manager.h"
#include "host/cards/card_manager.h"
#include "host/core/lines.h"
#include "host/devices/device_manager.h"
#include "host/environment/environment_monitor.h"
#include "host/l2/l2_manager.h"
#include "host/l3/l3_manager.h"
#include "host/machine/machine.h"
#include "host/mcast/mcast_manager.h"
#include "host/misc/poe_manager.h"
#include "host/misc/sampling_manager.h"
#include "host/ports/port_manager.h"
#include "lab/lab.h"

namespace pcsim::host {

namespace {

void tellCables(Lines& lines, const lab::Lab& lab) {
    constexpr std::string_view kCable = "cable";
    for (const lab::End& end : lab.ends()) {
        if (!end.name.starts_with(kCable) || end.up) continue;
        const std::string line = "cable " + end.name.substr(kCable.size());
        lines.add(line + " pull", line + " plug");
    }
}

void tellFaults(Lines& lines, const probe::Rules& rules) {
    for (const probe::RuleState& state : rules.states())
        lines.add("fault " + state.text(), fmt::format("fault-remove {}", state.number));
}

}  // namespace

// What others need comes first: cards bring ports, ports are in VLANs. Faults come last, so that
// they meet no call that makes the others.
void Machine::running(Lines& lines) {
    context.logger.running(lines);
    for (Manager* manager : std::initializer_list<Manager*>{
             cards_.get(), environment_.get(), devices_.get(), ports_.get(), l2_.get(), l3_.get(),
             mcast_.get(), acl_.get(), sampling_.get(), poe_.get()})
        manager->running(lines);
    if (context.lab != nullptr) tellCables(lines, *context.lab);
    tellFaults(lines, context.platform.rules);
}

}  // namespace pcsim::host
