// The simulated switch: one object that owns the context and the managers, boots them in a HAL's
// order and lets the host functions find them.
//
// Everything runs on one thread. Managers talk to the platform through Platform::call alone, and
// to each other through what they were made with.
#ifndef PCSIM_HOST_MACHINE_MACHINE_H
#define PCSIM_HOST_MACHINE_MACHINE_H

#include <memory>

#include "host/core/context.h"
#include "host/state/saved_states.h"

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

class Machine {
public:
    explicit Machine(Options options);
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // Loads the library and brings the system up. Throws a CommandError.
    void boot();

    // Tells the state of the whole switch, in an order in which a freshly booted one can run it.
    void running(Lines& lines);

    Context context;
    SavedStates states;

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

    // The machine that the host functions serve; there is one in a process.
    static Machine& current();

private:
    void bootSystem();
    void setUpFamily();
    void noteIdleCables();

    std::unique_ptr<CardManager> cards_;
    std::unique_ptr<PortManager> ports_;
    std::unique_ptr<L2Manager> l2_;
    std::unique_ptr<L3Manager> l3_;
    std::unique_ptr<McastManager> mcast_;
    std::unique_ptr<AclManager> acl_;
    std::unique_ptr<SamplingManager> sampling_;
    std::unique_ptr<PoeManager> poe_;
    std::unique_ptr<EnvironmentMonitor> environment_;
    std::unique_ptr<DeviceManager> devices_;
};

}  // namespace pcsim::host

#endif
