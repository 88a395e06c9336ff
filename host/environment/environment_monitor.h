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
    void running(Lines& lines) override;

    UnitMonitor& fans() { return fans_; }
    UnitMonitor& supplies() { return supplies_; }

    void setFanSpeed(Unit& fan, uint32_t percent);
    // No speed is asked for any more; what the fan reads stays as it is.
    void forgetFanSpeed(Unit& fan);

private:
    Context& context_;
    uint32_t fanMaskAtBoot_ = 0, supplyMaskAtBoot_ = 0;
    UnitMonitor fans_;
    UnitMonitor supplies_;
};

}  // namespace pcsim::host

#endif
