// Registering the verbs of all areas, and what they share.
#include "host/verbs/host_verbs.h"

#include "console/help.h"
#include "host/cards/card_manager.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

struct Area {
    const char* name;
    void (*add)(HostVerbs& verbs);
};
constexpr Area kAreas[] = {
    {"system", addClockVerbs},
    {"system", addSystemVerbs},
    {"cards", addCardVerbs},
    {"cards", addCapabilityVerbs},
    {"ports", addPortVerbs},
    {"layer2", addL2Verbs},
    {"layer2", addFdbVerbs},
    {"layer2", addTrunkVerbs},
    {"mcast", addMcastVerbs},
    {"acl", addAclVerbs},
    {"environment", addEnvironmentVerbs},
    {"devices", addDeviceVerbs},
    {"devices", addPoeVerbs},
    {"devices", addSamplingVerbs},
    {"layer3", addL3Verbs},
    {"system", addPlatformVerbs},
    {"state", addStateVerbs},
};

}  // namespace

void HostVerbs::show(const char* pattern, const char* help, Show run) {
    verbs_.show(pattern, help, [machine = &machine_, run](pcsim::Call& call) {
        Call own(call, *machine);
        return run(own);
    });
}

void HostVerbs::action(const char* pattern, const char* help, Action run) {
    verbs_.action(pattern, help, [machine = &machine_, run](pcsim::Call& call) {
        Call own(call, *machine);
        run(own);
    });
}

Port& portOf(Call& call) {
    const SlotPort at = call.port();
    return call.machine.ports().port(at.slot, at.port);
}

uint32_t instanceOf(Call& call) {
    return portOf(call).instance;
}

int slotOf(Call& call) {
    return call.machine.cards().slotNumber(call.text("slot"));
}

uint32_t virtualRouterOf(Call& call) {
    const uint32_t vr = call.has("vr") ? call.u32("vr") : 0;
    call.context.checkVirtualRouter(vr);
    return vr;
}

probe::ProbeParts probePartsOf(Machine& machine) {
    Platform& platform = machine.context.platform;
    probe::ProbeParts parts{platform.rules, platform.trace, nullptr, nullptr, &platform.ledger};
    parts.record = [&platform](const std::string& path) { platform.recorder.begin(path, false); };
    parts.stopRecord = [&platform] { return platform.recorder.finish(); };
    return parts;
}

void addHostVerbs(Console& console, Machine& machine) {
    HostVerbs verbs(console.verbs, machine);
    for (const auto& [area, add] : kAreas) {
        console.verbs.begin(area);
        add(verbs);
    }
    console.verbs.begin("calls");
    addProbeVerbs(console.verbs, probePartsOf(machine));
    addCallVerbs(console.verbs, callablesOf(machine));
    console.verbs.begin("console");
    console.verbs.show("show verbs", "all verbs as a table, for programs",
                       [&console](pcsim::Call&) { return verbsReport(console.verbs); });
    addCandidates(console, machine);
    console.state = [&scheduler = machine.context.scheduler] {
        const uint64_t ms = scheduler.nowMs();
        return scheduler.stopped() ? fmt::format("stopped {}.{:03}", ms / 1000, ms % 1000) : "";
    };
}

}  // namespace pcsim::host
