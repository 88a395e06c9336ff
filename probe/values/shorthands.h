// Records that have a form of their own in a line of text: which fields it has, in which order and
// after which words.
#ifndef PCSIM_PROBE_VALUES_SHORTHANDS_H
#define PCSIM_PROBE_VALUES_SHORTHANDS_H

#include <cstdint>
#include <span>
#include <string_view>

namespace pcsim::probe {

enum class Joined : uint8_t {
    kAlone,
    kMask,      // an IPv4 prefix with 'second' as its mask
    kLength,    // a prefix with 'second' as its length
    kSlotPort,  // a slot with 'second' as its port: 1:3
};

struct ShortItem {
    const char* word;  // in front of the value; "" for none
    const char* field;
    Joined joined = Joined::kAlone;
    const char* second = nullptr;
    bool always = false;  // also when it is zero
};

struct Shorthand {
    std::string_view record;
    std::span<const ShortItem> items;
};

// Null when records of that name are told field by field.
const Shorthand* shorthandOf(std::string_view record);

}  // namespace pcsim::probe

#endif
