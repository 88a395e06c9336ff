// What every manager of the simulated switch works with: the clock, the event loop, the log, the
// records, the platform. One thread uses it.
#ifndef PCSIM_HOST_CORE_CONTEXT_H
#define PCSIM_HOST_CORE_CONTEXT_H

#include <memory>
#include <string>
#include <vector>

#include "console/error.h"
#include "console/event_log.h"
#include "host/core/listeners.h"
#include "host/core/logger.h"
#include "host/core/loop.h"
#include "host/core/manager.h"
#include "host/core/platform.h"
#include "host/core/records.h"
#include "host/core/scheduler.h"

namespace pcsim::lab {
class Lab;
}

namespace pcsim::host {

struct Options {
    std::string library;
    bool chassis = false;
    bool remoteIo = false;
    unsigned labPorts = 0;  // 0: the PC's own interfaces
    uint32_t maxVr = 8;
};

struct Context {
    explicit Context(Options chosen);
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    Options options;
    Scheduler scheduler;
    Loop loop{scheduler};
    EventLog events;
    Logger logger;
    Records records;
    Platform platform;
    Managers managers{records};
    Listeners listeners;
    std::unique_ptr<lab::Lab> lab;  // null without one

    // What the platform has told of the chassis, once it is loaded.
    HalChassisInfo chassisInfo{};
    std::vector<HalCardTypeEntry> chassisCapability;
    int ownSlot = 0;

    // The lab, or a CommandError that says how to get one.
    lab::Lab& needLab();
    // Fails unless there is such a virtual router.
    void checkVirtualRouter(uint64_t number) const;
};

}  // namespace pcsim::host

#endif
