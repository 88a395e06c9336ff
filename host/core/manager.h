// A part of the host with a life of its own, and the order in which all of them hear of what
// happens to cards, VLANs and memberships.
#ifndef PCSIM_HOST_CORE_MANAGER_H
#define PCSIM_HOST_CORE_MANAGER_H

#include <cstdint>
#include <vector>

namespace pcsim::host {

class Lines;

class Manager {
public:
    Manager() = default;
    virtual ~Manager() = default;
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

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
    // Tells the lines that make what this manager was given.
    virtual void running(Lines& lines) { static_cast<void>(lines); }
    // The host ends: give the platform back what it gave. Called in reverse order.
    virtual void shutDown() {}
};

class Records;

// The managers in their order: they boot in it, hear of a card that comes up in it, and of one that
// goes away in the same order, ports first, then what hangs on them. The interface records of what
// goes away (pif, vpif, vlanIf) stay until every manager has heard of it, since the platform may
// still hold on to them.
class Managers {
public:
    explicit Managers(Records& records) : records_(records) {}

    // They must outlive all calls. Set once, by whoever composes the host.
    void set(std::vector<Manager*> managers) { managers_ = std::move(managers); }

    void boot();
    // Called by the card manager.
    void cardUp(int slot);
    void cardDown(int slot);
    // Called by whoever lets go of a VLAN or a membership, before its records go: the platform
    // keeps pointers to them as long as a multicast cache uses them.
    void vlanDown(uint16_t vlanId, uint32_t vlanInstance);
    void memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance);
    void shutDown();

private:
    Records& records_;
    std::vector<Manager*> managers_;
};

}  // namespace pcsim::host

#endif
