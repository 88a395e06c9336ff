// The host's event-management logger: six components with a level, a class mask and counters each,
// in the form that the platform's trace sites read.
#ifndef PCSIM_HOST_CORE_LOGGER_H
#define PCSIM_HOST_CORE_LOGGER_H

#include <array>
#include <string>
#include <string_view>

#include "pcsim/ems.h"

namespace pcsim::host {

class Lines;

class Logger {
public:
    struct Component {
        const char* name;
        uint32_t number;
        HalEmsLevel level{};
        std::array<uint32_t, 8> counters{};  // one per class that a mask byte can name
        std::array<uint8_t, 4> mask{};
        HalEmsComponent record{};
        uint64_t sent = 0;
    };

    static constexpr uint16_t kDefaultLevel = 2;  // errors
    static constexpr uint8_t kAllClasses = 0xFF;

    Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // By name in any case, or null.
    Component* find(std::string_view name);
    // The component whose record this is, or null.
    Component* of(const HalEmsComponent* record);
    Component& trace() { return components_[5]; }

    // Sets level and mask of one component; 'mask' kAllClasses lets every class through.
    static void set(Component& component, uint16_t level, uint8_t mask);

    // Tells the levels and masks that aren't those of the start.
    void running(Lines& lines) const;

    // All names, for messages: "Sys, Card, ...".
    std::string names() const;
    const std::array<Component, 6>& components() const { return components_; }

private:
    std::array<Component, 6> components_;
};

}  // namespace pcsim::host

#endif
