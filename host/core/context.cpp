// What the context can answer itself.
#include "host/core/context.h"

#include "lab/lab.h"

namespace pcsim::host {

Context::Context(Options chosen)
    : options(std::move(chosen)), events([this] { return scheduler.nowMs(); }) {
    platform.trace.nowMs = [this] { return scheduler.nowMs(); };
    platform.rules.onDelay = [this](uint64_t ms) { loop.block(ms); };
}

Context::~Context() = default;

lab::Lab& Context::needLab() {
    if (lab == nullptr) fail("there are no cables: start with --lab PORTS to have a lab");
    return *lab;
}

void Context::checkVirtualRouter(uint64_t number) const {
    if (number < options.maxVr) return;
    if (options.maxVr == 1)
        fail("virtual router {} does not exist; expected 0, the only one", number);
    fail("virtual router {} does not exist; expected 0 to {}", number, options.maxVr - 1);
}

}  // namespace pcsim::host
