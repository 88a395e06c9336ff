// The host that the tests run the platform under.
//
// It defines every host function. Each call is noted as one line of text, in order, and answers
// what the test has set. The state is one global object: tests of a case run in a process each, so
// a test starts with a fresh host and a fresh library.
#ifndef PCSIM_TESTS_SUPPORT_HOST_H
#define PCSIM_TESTS_SUPPORT_HOST_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"

namespace pcsim::test {

// One component record with everything it points at.
struct Component {
    HalEmsLevel level{};
    uint32_t counters[8]{};
    uint8_t mask[4]{};
    HalEmsComponent record{};

    Component();
    // Lets every class through.
    void open() { set(7, 0xFF); }
    void set(uint16_t newLevel, uint8_t newMask);
};

// What emsNotifyIncident was given, with the message formatted.
struct Incident {
    std::string file;
    int line;
    std::string function;
    HalEmsComponent* component;
    uint32_t id;
    std::string text;
};

struct Task {
    HalTaskFn* function;
    uint32_t argument1;
    uint32_t argument2;
    uint32_t delay;
    std::string name;
};

struct Timer {
    HalTimerFn* callback;
    uint32_t argument;
    uint32_t zero1;
    uint32_t periodMs;
    uint32_t zero2;
};

struct Reply {
    uint32_t handle;
    uint32_t messageId;
    std::vector<uint8_t> message;
    int32_t flag;
};

struct HostState {
    // What happened. 'calls' has a line for each host call but the pure queries (names, look-ups,
    // mappings), e.g. "halScheduleTask(pcSimFlushCallback, 1, 2, 100)".
    std::vector<std::string> calls;
    std::vector<std::string> queries;  // the same for the pure queries
    // Calls, queries and texts of incidents in one order, for tests of that order.
    std::vector<std::string>* sequence = nullptr;
    std::vector<Incident> incidents;
    std::vector<Task> tasks;
    std::vector<Timer> timers;
    std::vector<Reply> replies;
    std::vector<HalDeviceRegistration*> deviceRegistrations;  // the library's own records
    std::vector<HalDeviceInfo*> deviceInfos;
    std::vector<HalDeviceStatus*> deviceStatuses;
    std::vector<const HalDeviceCommand*> refusedCommands;

    // What the host answers.
    int32_t platformType = 1;
    uint32_t maxVr = 4;
    int32_t primary = 1;
    int32_t systemMacResult = 0;
    uint8_t systemMac[6] = {0x00, 0x04, 0x96, 0x12, 0x34, 0x56};
    uint32_t monotime = 777;
    int32_t mgmtPort = 1;
    int32_t cardOperational = 1;
    int32_t deviceInfoResult = 0;
    int32_t deviceStatusResult = 0;
    int32_t registerDeviceResult = 0;
    std::function<uint32_t(uint32_t, uint32_t)> hwPortMapping = [](uint32_t, uint32_t number) {
        return number;
    };

    // Interface records by instance; pifs are walked in the order of 'pifs'.
    std::map<uint32_t, HalVlanIf*> vlanIfs;
    std::vector<HalPif*> pifs;
    std::function<void()> onPifLookup;  // run before a pif is looked up by its instance

    // Components; attach() puts them into the library's handles.
    Component sys, card, port, vlan, fdb, trace;
    bool registerFillsTrace = true;  // what emsRegisterComponent does with the 'trace' handle

    HalVlanIf* addVlanIf(uint32_t instance, uint16_t vlanId);
    HalPif* addPif(uint32_t portInstance, uint16_t slot, uint16_t port);

    // Opens all components but 'trace' and hands them to the library.
    void attachComponents();
    // Texts of all incidents so far.
    std::vector<std::string> incidentTexts() const;

private:
    std::vector<std::unique_ptr<HalVlanIf>> ownedVlanIfs_;
    std::vector<std::unique_ptr<HalPif>> ownedPifs_;
};

HostState& host();

// Everything that 'action' writes to standard output.
std::string printed(const std::function<void()>& action);

}  // namespace pcsim::test

// The descriptor is the host's own type.
struct HalEmsDescriptor {
    int marker;
};

#endif
