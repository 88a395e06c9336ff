// The environment monitor: the fans and power supplies of the chassis.
#ifndef PCSIM_HOST_ENVIRONMENT_ENVIRONMENT_MONITOR_H
#define PCSIM_HOST_ENVIRONMENT_ENVIRONMENT_MONITOR_H

#include "host/environment/unit_monitor.h"

namespace pcsim::host {

// Where a kind's own readings are in Unit::own.
constexpr size_t kFanSpeed = 0;
constexpr size_t kSupplyInput = 0;    // two values
constexpr size_t kSupplyOutputs = 2;  // two values of each line
constexpr uint32_t kSupplyOutputLines = 3;

class EnvironmentMonitor : public Manager {
public:
    explicit EnvironmentMonitor(Context& context);

    void boot() override;

    UnitMonitor& fans() { return fans_; }
    UnitMonitor& supplies() { return supplies_; }

    void setFanSpeed(Unit& fan, uint32_t percent);

private:
    Context& context_;
    UnitMonitor fans_;
    UnitMonitor supplies_;
};

}  // namespace pcsim::host

#endif
