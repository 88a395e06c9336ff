// The verbs of the host: what a command of one of them works with, and how they are registered.
//
// An area's verbs stand in a file of their own, after the managers whose console they are.
#ifndef PCSIM_HOST_VERBS_HOST_VERBS_H
#define PCSIM_HOST_VERBS_HOST_VERBS_H

#include "console/console.h"
#include "console/verbs.h"
#include "host/machine/machine.h"
#include "host/verbs/pages.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::host {

struct Port;

// A command on the machine.
class Call : public pcsim::Call {
public:
    Call(pcsim::Call call, Machine& owner)
        : pcsim::Call(std::move(call)), machine(owner), context(owner.context) {}

    Machine& machine;
    Context& context;
};

class HostVerbs {
public:
    using Show = Report (*)(Call&);
    using Action = void (*)(Call&);

    // Both must outlive the commands.
    HostVerbs(Verbs& verbs, Machine& machine) : verbs_(verbs), machine_(machine) {}

    void show(const char* pattern, const char* help, Show run);
    void action(const char* pattern, const char* help, Action run);

private:
    Verbs& verbs_;
    Machine& machine_;
};

// All verbs, in the order in which help lists them, and what completes their values.
void addHostVerbs(Console& console, Machine& machine);

void addCandidates(Console& console, Machine& machine);

// What the verbs of the probe work with here.
probe::ProbeParts probePartsOf(Machine& machine);
std::shared_ptr<probe::Callables> callablesOf(Machine& machine);

// What several areas ask of a command. Each throws a CommandError that says which there are.
Port& portOf(Call& call);              // <port>, of a card that is there
uint32_t instanceOf(Call& call);       // its port instance
int slotOf(Call& call);                // <slot>
uint32_t virtualRouterOf(Call& call);  // [vr <vr>], 0 when it isn't given

void addSystemVerbs(HostVerbs& verbs);
void addClockVerbs(HostVerbs& verbs);
void addCardVerbs(HostVerbs& verbs);
void addCapabilityVerbs(HostVerbs& verbs);
void addPortVerbs(HostVerbs& verbs);
void addL2Verbs(HostVerbs& verbs);
void addFdbVerbs(HostVerbs& verbs);
void addTrunkVerbs(HostVerbs& verbs);
void addMcastVerbs(HostVerbs& verbs);
void addAclVerbs(HostVerbs& verbs);
void addEnvironmentVerbs(HostVerbs& verbs);
void addDeviceVerbs(HostVerbs& verbs);
void addPoeVerbs(HostVerbs& verbs);
void addSamplingVerbs(HostVerbs& verbs);
void addL3Verbs(HostVerbs& verbs);
void addPlatformVerbs(HostVerbs& verbs);
void addStateVerbs(HostVerbs& verbs);

}  // namespace pcsim::host

#endif
