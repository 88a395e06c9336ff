// Variables that cross the boundary without a call: what the HAL tells the platform by writing it.
// They are looked at before each call of the HAL, and recorded when they have changed since.
#ifndef PCSIM_PROBE_RECORD_GLOBALS_H
#define PCSIM_PROBE_RECORD_GLOBALS_H

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"
#include "probe/record/encoder.h"
#include "probe/record/path_numbers.h"

namespace pcsim::probe {

class Globals {
public:
    // Finds the variables, as the library that 'handle' names does, and writes where they are.
    void find(void* handle, Encoder& encoder);

    // Writes those that have changed since they were last noted.
    void record(Encoder& encoder, PathNumbers& paths);
    // Notes how they are after a call of the platform: what it has changed is not the HAL's doing.
    void note();

private:
    // What is looked at of a component: the words of its record, level and mask.
    struct Component {
        uint32_t record = 0;
        uint32_t level = 0;
        uint32_t counters = 0;
        uint32_t mask = 0;
        uint16_t levelValue = 0;
        uint8_t maskValue = 0;

        bool operator==(const Component&) const = default;
    };
    struct Global {
        const Variable* variable;
        uint32_t address;
        // What leads from a component's handle to its record, as if it were an argument.
        Parameter parameter;
        Function function;
        uint32_t value = 0;
        Component component;
    };

    static bool isComponent(const Global& global);
    static Component componentOf(const Global& global);
    static uint32_t valueOf(const Global& global);
    static void record(Global& global, Encoder& encoder, PathNumbers& paths);

    std::vector<Global> globals_;
};

}  // namespace pcsim::probe

#endif
