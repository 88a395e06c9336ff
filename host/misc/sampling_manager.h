// The sampling manager: remembers which ports are sampled and reads the platform's sample counters.
#ifndef PCSIM_HOST_MISC_SAMPLING_MANAGER_H
#define PCSIM_HOST_MISC_SAMPLING_MANAGER_H

#include <cstdint>
#include <set>

#include "host/core/context.h"
#include "pcsim/misc.h"

namespace pcsim::host {

class SamplingManager : public Manager {
public:
    explicit SamplingManager(Context& context) : context_(context) {}

    // The ports of a card that goes away are sampled no more.
    void cardDown(int slot) override;
    void running(Lines& lines) override;

    // A CommandError when the port is, or isn't, sampled already.
    void add(uint32_t instance);
    void remove(uint32_t instance);
    bool sampled(uint32_t instance) const { return ports_.contains(instance); }
    const std::set<uint32_t>& ports() const { return ports_; }

    HalSampleCounters read(uint32_t instance);

private:
    void forget(uint32_t instance);

    Context& context_;
    std::set<uint32_t> ports_;  // port instances
    bool binAllocated_ = false;
};

}  // namespace pcsim::host

#endif
