// Building and booting the simulated switch.
#include "host/machine/machine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host/acl/acl_manager.h"
#include "host/cards/card_manager.h"
#include "host/devices/device_manager.h"
#include "host/environment/environment_monitor.h"
#include "host/l2/l2_manager.h"
#include "host/l3/l3_manager.h"
#include "host/machine/components.h"
#include "host/mcast/mcast_manager.h"
#include "host/misc/poe_manager.h"
#include "host/misc/sampling_manager.h"
#include "host/ports/port_manager.h"
#include "lab/lab.h"

namespace pcsim::host {

namespace {
Machine* currentMachine = nullptr;
}

Machine& Machine::current() {
    return *currentMachine;
}

Machine::Machine(Options options)
    : context(std::move(options)),
      cards_(std::make_unique<CardManager>(context)),
      ports_(std::make_unique<PortManager>(context, *cards_)),
      l2_(std::make_unique<L2Manager>(context, *cards_, *ports_)),
      l3_(std::make_unique<L3Manager>(context)),
      mcast_(std::make_unique<McastManager>(context)),
      acl_(std::make_unique<AclManager>(context)),
      sampling_(std::make_unique<SamplingManager>(context)),
      poe_(std::make_unique<PoeManager>(context)),
      environment_(std::make_unique<EnvironmentMonitor>(context)),
      devices_(std::make_unique<DeviceManager>(context)) {
    currentMachine = this;
    attachComponents(context.logger);
    // Cards come last: they bring up what all others have made ready for.
    context.managers.set({ports_.get(), l2_.get(), l3_.get(), mcast_.get(), acl_.get(),
                          sampling_.get(), poe_.get(), environment_.get(), devices_.get(),
                          cards_.get()});
}

Machine::~Machine() {
    context.managers.shutDown();
    currentMachine = nullptr;
}

void Machine::boot() {
    if (context.options.labPorts != 0) {
        context.lab = std::make_unique<lab::Lab>();
        if (const auto problem = context.lab->create(context.options.labPorts))
            fail("{}", *problem);
        context.events.note("lab", "eth0 to eth{} are cabled", context.options.labPorts);
    }
    if (context.options.remoteIo) setenv("HAL_SIM_REMOTE_IO", "1", 1);
    context.platform.onPrint = [this](const std::string& text) {
        // The library's own texts come with and without line ends.
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos) end = text.size();
            const std::string line = text.substr(start, end - start);
            if (line.find_first_not_of(' ') != std::string::npos)
                context.events.add("platform", line);
            start = end + 1;
        }
    };
    bootSystem();
    context.managers.boot();
    noteIdleCables();
}

// The first steps of a HAL: the system table, what the chassis is, which cards it may hold.
void Machine::bootSystem() {
    context.platform.load(context.options.library);
    // 'show chassis' has the library's folder, too.
    context.events.note("boot", "Platform {} initialised as a {}",
                        context.platform.path().substr(context.platform.path().rfind('/') + 1),
                        context.options.chassis ? "chassis" : "stackable");
    auto& system = context.platform.system;
    context.platform.call(system, &HalSystemOps::chassisGetInfo, &context.chassisInfo);
    context.ownSlot = static_cast<int>(context.chassisInfo.ownSlot);
    HalChassisCapability* capability =
        context.platform.call(system, &HalSystemOps::chassisGetCapability);
    if (capability == nullptr) fail("the platform has no chassis capability: out of memory");
    context.chassisCapability.assign(capability->entries,
                                     capability->entries + capability->entryCount);
    std::free(capability);
    context.platform.setUpCards();
    setUpFamily();
    context.events.note(
        "boot", "Chassis {}, own slot {}, {} card type{}",
        std::string(context.chassisInfo.modelName, strnlen(context.chassisInfo.modelName, 8)),
        context.ownSlot, context.chassisCapability.size(),
        context.chassisCapability.size() == 1 ? "" : "s");
}

// Cables of a lab beyond the last interface that a card has a port for.
void Machine::noteIdleCables() {
    uint32_t last = 0;
    for (int slot = 0; slot < Platform::kSlots; ++slot) {
        const HalCardSlotDb& record = context.platform.slotRecord(slot);
        for (uint32_t port = 1; record.portMap != nullptr && port <= record.portCount; ++port)
            last = std::max(last, record.portMap[port - 1]);
    }
    const unsigned cables = context.options.labPorts;
    if (last == 0 || cables <= last) return;
    context.events.note("lab", "No port is behind {}: the cards' ports are eth1 to eth{}",
                        cables == last + 1 ? fmt::format("cable {}", cables)
                                           : fmt::format("cables {} to {}", last + 1, cables),
                        last);
}

// All simulated cards are of one family, so its table is filled once.
void Machine::setUpFamily() {
    context.platform.call(context.platform.cardDb, &HalCardDbOps::familyDBSetup, 0u,
                          &context.platform.family.ops);
    context.platform.family.valid = true;
}

}  // namespace pcsim::host
