// Verbs of packet sampling.
#include "host/verbs/host_verbs.h"

#include "host/misc/sampling_manager.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

Report showSampling(Call& call) {
    const Port& port = portOf(call);
    SamplingManager& sampling = call.machine.sampling();
    const HalSampleCounters counters = sampling.read(port.instance);
    return Fields{"sflow",
                  "Sampling of port " + port.name(),
                  {{"port", "Port", port.name()},
                   {"sampled", "Sampled", sampling.sampled(port.instance)},
                   {"bytes", "Bytes", uint64_t{counters.bytes}},
                   {"frames", "Frames", uint64_t{counters.frames8}},
                   {"count", "Count", uint64_t{counters.count16}},
                   {"pool", "Pool", uint64_t{counters.pool24}},
                   {"frames64", "Frames (64)", uint64_t{counters.frames64}},
                   {"count72", "Count (72)", uint64_t{counters.count72}},
                   {"pool80", "Pool (80)", uint64_t{counters.pool80}}}};
}

Report showSampledPorts(Call& call) {
    Table table{"sampled", "Sampled ports", {{"port", "Port"}}, {}, "none", ""};
    for (const uint32_t instance : call.machine.sampling().ports())
        table.rows.push_back({fmt::format("{}:{}", slotOf(instance), host::portOf(instance))});
    return table;
}

void change(Call& call) {
    const uint32_t instance = portOf(call).instance;
    SamplingManager& sampling = call.machine.sampling();
    if (call.text("action") == "add")
        sampling.add(instance);
    else
        sampling.remove(instance);
}

}  // namespace

void addSamplingVerbs(HostVerbs& verbs) {
    verbs.show("show sflow", "the ports that are sampled", showSampledPorts);
    verbs.show("show sflow <port*>", "sampling counters, which all ports share", showSampling);
    verbs.action("sflow <port*> <action:add|del>", "sample a port, or no more", change);
}

}  // namespace pcsim::host
