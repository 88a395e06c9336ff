// The logger's components.
#include "host/core/logger.h"

#include <fmt/core.h>
#include <strings.h>

#include "host/core/lines.h"

namespace pcsim::host {

Logger::Logger()
    : components_{{{"Sys", HAL_EMS_COMPONENT_SYS},
                   {"Card", HAL_EMS_COMPONENT_CARD},
                   {"Port", HAL_EMS_COMPONENT_PORT},
                   {"VLAN", HAL_EMS_COMPONENT_VLAN},
                   {"FDB", HAL_EMS_COMPONENT_FDB},
                   {"trace", HAL_EMS_COMPONENT_TRACE}}} {
    for (Component& component : components_) {
        component.record.level = &component.level;
        component.record.counters = component.counters.data();
        component.record.enabledMask = component.mask.data();
        set(component, kDefaultLevel, kAllClasses);
    }
}

Logger::Component* Logger::find(std::string_view name) {
    for (Component& component : components_)
        if (strcasecmp(component.name, std::string(name).c_str()) == 0) return &component;
    return nullptr;
}

Logger::Component* Logger::of(const HalEmsComponent* record) {
    for (Component& component : components_)
        if (&component.record == record) return &component;
    return nullptr;
}

void Logger::set(Component& component, uint16_t level, uint8_t mask) {
    component.level.level = level;
    component.mask[0] = mask;
}

void Logger::running(Lines& lines) const {
    for (const Component& component : components_) {
        const uint16_t level = component.level.level;
        const uint8_t mask = component.mask[0];
        if (level == kDefaultLevel && mask == kAllClasses) continue;
        std::string line = fmt::format("trace {} {}", component.name, level);
        if (mask != kAllClasses) line += fmt::format(" {:#04x}", mask);
        lines.replace(line, fmt::format("trace {} {}", component.name, kDefaultLevel));
    }
}

std::string Logger::names() const {
    std::string names;
    for (const Component& component : components_)
        names += (names.empty() ? "" : ", ") + std::string(component.name);
    return names;
}

}  // namespace pcsim::host
