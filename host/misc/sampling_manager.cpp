// Sampled ports and their counters.
#include "host/misc/sampling_manager.h"

#include "host/core/lines.h"

namespace pcsim::host {

namespace {

HalSamplePort samplePort(uint32_t instance) {
    return {static_cast<uint16_t>(portOf(instance)), static_cast<uint16_t>(slotOf(instance))};
}

void check(int32_t result) {
    if (result != 0) fail("sampling: the platform answered {}", result);
}

}  // namespace

void SamplingManager::cardDown(int slot) {
    unsigned count = 0;
    for (auto next = ports_.begin(); next != ports_.end();) {
        const uint32_t instance = *next++;
        if (slotOf(instance) != static_cast<uint32_t>(slot)) continue;
        forget(instance);
        ++count;
    }
    if (count != 0)
        context_.events.note("sflow", "Slot {}: sampling stopped on {} of its ports", slot, count);
}

void SamplingManager::running(Lines& lines) {
    for (const uint32_t instance : ports_)
        lines.add(fmt::format("sflow {} add", portName(instance)),
                  fmt::format("sflow {} del", portName(instance)));
}

// The bin that samples are kept in is allocated with the first port.
void SamplingManager::add(uint32_t instance) {
    if (sampled(instance))
        fail("port {}:{} is sampled already", slotOf(instance), portOf(instance));
    Platform& platform = context_.platform;
    if (!binAllocated_) check(platform.call(platform.family, &HalFamilyOps::allocSampleBin));
    binAllocated_ = true;
    const HalSamplePort port = samplePort(instance);
    check(platform.call(platform.family, &HalFamilyOps::sflowAddPortsForSample, 0u, &port));
    ports_.insert(instance);
    context_.events.note("sflow", "Port {}:{} sampled", slotOf(instance), portOf(instance));
}

void SamplingManager::remove(uint32_t instance) {
    if (!sampled(instance)) fail("port {}:{} is not sampled", slotOf(instance), portOf(instance));
    forget(instance);
    context_.events.note("sflow", "Port {}:{} not sampled", slotOf(instance), portOf(instance));
}

void SamplingManager::forget(uint32_t instance) {
    Platform& platform = context_.platform;
    const HalSamplePort port = samplePort(instance);
    platform.call(platform.family, &HalFamilyOps::sflowDelPortsForSample, 0u, &port);
    ports_.erase(instance);
}

HalSampleCounters SamplingManager::read(uint32_t instance) {
    Platform& platform = context_.platform;
    HalSampleCounters counters{};
    check(platform.call(platform.family, &HalFamilyOps::sflowGetCntSampleOnPort, instance,
                        &counters));
    return counters;
}

}  // namespace pcsim::host
