// Opening the socket, and what is told there of the machine.
#include "host/serve.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>

#include "console/run_folder.h"
#include "host/cards/card_manager.h"
#include "host/ports/port_manager.h"
#include "lab/version.h"

namespace pcsim::host {

namespace {

// Of the host's own events; the platform's have the names of its components.
constexpr const char* kEventSources[] = {"acl", "boot",  "card",     "device", "door", "env",
                                         "lab", "mcast", "platform", "poe",    "port", "sflow"};

InstanceStatus statusOf(Machine& machine) {
    const Scheduler& scheduler = machine.context.scheduler;
    const auto& ports = machine.ports().ports();
    InstanceStatus status;
    status.shape = machine.context.options.chassis ? "chassis" : "stack";
    status.timeMs = scheduler.nowMs();
    status.stopped = scheduler.stopped();
    status.ports = ports.size();
    status.portsUp = static_cast<uint64_t>(
        std::ranges::count_if(ports, [](const auto& one) { return one.second.link.up; }));
    return status;
}

std::vector<std::string> sourcesOf(const Machine& machine) {
    std::vector<std::string> sources(std::begin(kEventSources), std::end(kEventSources));
    for (const auto& component : machine.context.logger.components())
        sources.emplace_back(component.name);
    return sources;
}

}  // namespace

SocketDoor openSocket(const CommandLine& line) {
    if (!line.name.empty()) return {std::make_unique<InstanceSocket>(runFolder(), line.name), ""};
    try {
        return {std::make_unique<InstanceSocket>(runFolder()), ""};
    } catch (const CommandError& error) {
        if (line.serve) throw;
        return {nullptr, error.what()};
    }
}

ServerFacts serverFactsOf(Machine& machine) {
    ServerFacts facts;
    facts.status = [&machine] { return statusOf(machine); };
    facts.version = kVersion;
    facts.abi = kAbi;
    facts.protocol = kProtocol;
    facts.snapshot = {"show ports", "show slots", "show environment", "show vlans", "show trunks"};
    facts.eventSources = [&machine] { return sourcesOf(machine); };
    return facts;
}

void serve(Surroundings& surroundings) {
    const int never = eventfd(0, EFD_CLOEXEC);
    surroundings.waitReadable(never);
    close(never);
}

}  // namespace pcsim::host
