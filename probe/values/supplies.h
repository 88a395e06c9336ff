// What is said of a call, and what its caller has beside numbers and texts.
#ifndef PCSIM_PROBE_VALUES_SUPPLIES_H
#define PCSIM_PROBE_VALUES_SUPPLIES_H

#include <cstdint>
#include <string>

#include "probe/interface/model.h"

namespace pcsim::probe {

// A value as it was written: "slots[1].gateway" and "10.0.0.1".
struct Written {
    std::string name;
    std::string value;
};

// Answers what is known to the caller alone.
class Supplies {
public:
    virtual ~Supplies() = default;

    // The record of the HAL's that goes by 'word'. Throws a CommandError that says which there are.
    virtual const void* record(const Record& record, const std::string& word) const = 0;
    // What goes by 'word' of what earlier calls have handed out, as far as it is a 'type'; null
    // when nothing of that name is kept. Throws a CommandError when it has ended or is another
    // type.
    virtual void* kept(const Type& type, const std::string& word) const = 0;
    // A function to call back; null when there is none of that type.
    virtual void* callback(const Function& type) const = 0;
    // Reads a number in a form of the HAL's own; false when 'word' has none.
    virtual bool number(Meaning meaning, const std::string& word, int64_t& value) const = 0;
};

}  // namespace pcsim::probe

#endif
