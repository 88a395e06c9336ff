// What the caller of a function can say of a call: every number, text, address and pointer that
// goes in, by name. The names are those of the interface's headers, joined by points, with the
// place in a list in brackets: "request.slots[1].gateway".
#ifndef PCSIM_PROBE_VALUES_INPUTS_H
#define PCSIM_PROBE_VALUES_INPUTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

struct Step {
    std::string_view name;
    bool isList = false;
};

struct Input {
    std::vector<Step> steps;
    const Type* type;  // of the value; of a pointer to a cell with a handle, of what is in the cell
    Meaning meaning;
    bool isPointer;  // takes a name for what is behind it, or null
    bool orNull;     // and null is one of the things it takes

    std::string path() const;  // "request.slots[].gateway"
};

std::vector<Input> inputsOf(const Function& function);

// The path of the value that is meant by a name as people write it: whole or its last parts where
// these are clear, or what it stands for ("port"); the place in a list is 0 where it isn't said.
// Throws a CommandError that lists the names there are.
std::string pathOf(std::string_view operation, const std::vector<Input>& inputs,
                   std::string_view written, bool isNull);

// How a place is named in lists of them: by its last parts, as short as is clear.
std::string shortNameOf(const std::vector<Input>& inputs, const Input& place);

// --- How types are looked at, the same by whoever makes memory for the inputs ---

// A word that a function's arguments are made of, where nothing more is known.
extern const Type kWordType;
// An array, or a record of an address, that is written as one value.
bool isWhole(const Type& type, Meaning meaning);
// Whether a pointer may be null when nothing is to be behind it.
bool isNullTaken(const Semantics& semantics, const Type& target);
// Whether several elements lie behind a pointer.
bool isList(const Semantics& semantics, const Type& target);
// Whether the caller can say something of a field.
bool isGiven(const Field& field, bool isOutput, std::string_view chainedBy);
// Pointers to data are made down to this depth.
constexpr int kDeepestMade = 3;

}  // namespace pcsim::probe

#endif
