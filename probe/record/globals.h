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
    // A word that is looked at, as it was.
    struct Word {
        const uint32_t* place;
        uint32_t mask;  // of the bits that count
        uint32_t value;

        uint32_t now() const { return *place & mask; }
    };
    struct Global {
        const Variable* variable;
        uint32_t address;
        bool ofPlatform;  // the library writes it, too
        // What leads from a component's handle to its record, as if it were an argument.
        Parameter parameter;
        Function function;
        std::vector<Word> words;
    };

    static bool hasChanged(const Global& global);
    static void watch(Global& global);
    static void watch(Global& global, uint32_t address, uint32_t bytes);
    static void record(Global& global, Encoder& encoder, PathNumbers& paths);

    std::vector<Global> globals_;
};

}  // namespace pcsim::probe

#endif
