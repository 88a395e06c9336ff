// The simulated switch: one object that owns the clock, the log, the records, the platform and the
// managers, boots them in a HAL's order and lets the host functions find them.
//
// Everything runs on one thread. Managers talk to the platform through Platform::call alone, and to
// each other through the members here.
#ifndef PCSIM_HOST_MACHINE_MACHINE_H
#define PCSIM_HOST_MACHINE_MACHINE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/event_log.h"
#include "host/core/logger.h"
#include "host/core/platform.h"
#include "host/core/records.h"
#include "host/core/scheduler.h"

namespace pcsim::lab {
class Lab;
}

namespace pcsim::host {

class AclManager;
class CardManager;
class DeviceManager;
class EnvironmentMonitor;
class L2Manager;
class L3Manager;
class McastManager;
class PoeManager;
class PortManager;
class SamplingManager;

struct Options {
    std::string library;
    bool chassis = false;
    bool remoteIo = false;
    unsigned labPorts = 0;  // 0: the PC's own interfaces
    uint32_t maxVr = 8;
};

// A part of the host with a life of its own. Managers boot in the order in which the machine makes
// them, hear of a card that comes up in that order, and of one that goes away in the same order:
// ports first, then what hangs on them. The interface records of what goes away (pif, vpif, vlanIf)
// stay until every manager has heard of it, since the platform may still hold on to them.
class Manager {
public:
    virtual ~Manager() = default;
    virtual void boot() {}
    virtual void cardUp(int slot) { static_cast<void>(slot); }
    virtual void cardDown(int slot) { static_cast<void>(slot); }
    // A VLAN, or a port's membership in one, is about to go: its records still stand.
    virtual void vlanDown(uint16_t vlanId, uint32_t vlanInstance) {
        static_cast<void>(vlanId), static_cast<void>(vlanInstance);
    }
    virtual void memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) {
        static_cast<void>(vlanId), static_cast<void>(vlanInstance), static_cast<void>(portInstance);
    }
    // The host ends: give the platform back what it gave. Called in reverse order.
    virtual void shutDown() {}
};

class Machine {
public:
    explicit Machine(Options options);
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // Loads the library and brings the system up. Throws a CommandError.
    void boot();

    // Called by the card manager.
    void cardUp(int slot);
    void cardDown(int slot);

    // Called by whoever lets go of a VLAN or a membership, before its records go: the platform
    // keeps pointers to them as long as a multicast cache uses them.
    void vlanDown(uint16_t vlanId, uint32_t vlanInstance);
    void memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance);

    const Options& options() const { return options_; }
    int ownSlot() const { return ownSlot_; }

    Scheduler scheduler;
    EventLog events{scheduler};
    Logger logger;
    Records records;
    Platform platform;

    lab::Lab* lab() { return lab_.get(); }
    // The lab, or a CommandError that says how to get one.
    lab::Lab& needLab();

    AclManager& acl() { return *acl_; }
    CardManager& cards() { return *cards_; }
    DeviceManager& devices() { return *devices_; }
    EnvironmentMonitor& environment() { return *environment_; }
    L2Manager& l2() { return *l2_; }
    L3Manager& l3() { return *l3_; }
    McastManager& mcast() { return *mcast_; }
    PoeManager& poe() { return *poe_; }
    PortManager& ports() { return *ports_; }
    SamplingManager& sampling() { return *sampling_; }

    // When not 0, what a task that the platform schedules is handed as its second argument: it
    // tells whose report a delayed one is. Set by the card manager around its requests.
    uint32_t taskTicket = 0;

    HalChassisInfo chassisInfo{};
    std::vector<HalCardTypeEntry> chassisCapability;

    // The machine that the host functions serve; there is one in a process.
    static Machine& current();

private:
    void bootSystem();
    void setUpFamily();

    Options options_;
    int ownSlot_ = 0;
    std::unique_ptr<lab::Lab> lab_;
    std::unique_ptr<AclManager> acl_;
    std::unique_ptr<CardManager> cards_;
    std::unique_ptr<DeviceManager> devices_;
    std::unique_ptr<EnvironmentMonitor> environment_;
    std::unique_ptr<L2Manager> l2_;
    std::unique_ptr<L3Manager> l3_;
    std::unique_ptr<McastManager> mcast_;
    std::unique_ptr<PoeManager> poe_;
    std::unique_ptr<PortManager> ports_;
    std::unique_ptr<SamplingManager> sampling_;
    std::vector<Manager*> managers_;
};

}  // namespace pcsim::host

#endif
