// The words of the operation tables by name, from the interface's own list of them
// (pcsim/layout_rows.h).
#ifndef PCSIM_HOST_CORE_WORD_NAMES_H
#define PCSIM_HOST_CORE_WORD_NAMES_H

#include <cstddef>
#include <string_view>

namespace pcsim::host {

struct WordName {
    const char* record;  // "HalFamilyOps"
    const char* name;    // "fdbInit"
    size_t word;         // in the record
    bool isOperation;    // a function; else a constant of the HAL's
};

// Null for a word without a name: it is reserved.
const WordName* wordName(std::string_view record, size_t word);

}  // namespace pcsim::host

#endif
