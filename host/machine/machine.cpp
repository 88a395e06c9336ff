// Building and booting the simulated switch.
#include "host/machine/machine.h"

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
    : options_(std::move(options)),
      acl_(std::make_unique<AclManager>(*this)),
      cards_(std::make_unique<CardManager>(*this)),
      devices_(std::make_unique<DeviceManager>(*this)),
      environment_(std::make_unique<EnvironmentMonitor>(*this)),
      l2_(std::make_unique<L2Manager>(*this)),
      l3_(std::make_unique<L3Manager>(*this)),
      mcast_(std::make_unique<McastManager>(*this)),
      poe_(std::make_unique<PoeManager>(*this)),
      ports_(std::make_unique<PortManager>(*this)),
      sampling_(std::make_unique<SamplingManager>(*this)) {
    currentMachine = this;
    attachComponents(logger);
    managers_ = {ports_.get(),    l2_.get(),  l3_.get(),          mcast_.get(),   acl_.get(),
                 sampling_.get(), poe_.get(), environment_.get(), devices_.get(), cards_.get()};
}

Machine::~Machine() {
    for (auto manager = managers_.rbegin(); manager != managers_.rend(); ++manager) {
        try {
            (*manager)->shutDown();
        } catch (const CommandError&) {
            // A platform without the operation has nothing to be given back.
        }
    }
    currentMachine = nullptr;
}

lab::Lab& Machine::needLab() {
    if (lab_ == nullptr) fail("there are no cables: start with --lab PORTS to have a lab");
    return *lab_;
}

void Machine::boot() {
    if (options_.labPorts != 0) {
        lab_ = std::make_unique<lab::Lab>();
        if (const auto problem = lab_->create(options_.labPorts)) fail("{}", *problem);
        events.note("lab", "eth0 to eth{} are cabled", options_.labPorts);
    }
    if (options_.remoteIo) setenv("HAL_SIM_REMOTE_IO", "1", 1);
    platform.onPrint = [this](const std::string& text) {
        // The library's own texts come with and without line ends.
        size_t start = 0;
        while (start < text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos) end = text.size();
            const std::string line = text.substr(start, end - start);
            if (line.find_first_not_of(' ') != std::string::npos) events.add("platform", line);
            start = end + 1;
        }
    };
    bootSystem();
    for (Manager* manager : managers_) manager->boot();
}

// The first steps of a HAL: the system table, what the chassis is, which cards it may hold.
void Machine::bootSystem() {
    platform.load(options_.library);
    // 'show chassis' has the library's folder, too.
    events.note("boot", "Platform {} initialised as a {}",
                platform.path().substr(platform.path().rfind('/') + 1),
                options_.chassis ? "chassis" : "stackable");
    auto& system = platform.system;
    platform.call(system, &HalSystemOps::chassisGetInfo, &chassisInfo);
    ownSlot_ = static_cast<int>(chassisInfo.ownSlot);
    HalChassisCapability* capability = platform.call(system, &HalSystemOps::chassisGetCapability);
    if (capability == nullptr) fail("the platform has no chassis capability: out of memory");
    chassisCapability.assign(capability->entries, capability->entries + capability->entryCount);
    std::free(capability);
    platform.setUpCards();
    setUpFamily();
    events.note("boot", "Chassis {}, own slot {}, {} card type{}",
                std::string(chassisInfo.modelName, strnlen(chassisInfo.modelName, 8)), ownSlot_,
                chassisCapability.size(), chassisCapability.size() == 1 ? "" : "s");
}

// All simulated cards are of one family, so its table is filled once.
void Machine::setUpFamily() {
    platform.call(platform.cardDb, &HalCardDbOps::familyDBSetup, 0u, &platform.family.ops);
    platform.family.valid = true;
}

void Machine::cardUp(int slot) {
    for (Manager* manager : managers_) manager->cardUp(slot);
}

void Machine::cardDown(int slot) {
    for (Manager* manager : managers_) manager->cardDown(slot);
    records.removePorts(static_cast<uint32_t>(slot));
}

void Machine::vlanDown(uint16_t vlanId, uint32_t vlanInstance) {
    for (Manager* manager : managers_) manager->vlanDown(vlanId, vlanInstance);
}

void Machine::memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) {
    for (Manager* manager : managers_) manager->memberDown(vlanId, vlanInstance, portInstance);
}

}  // namespace pcsim::host
