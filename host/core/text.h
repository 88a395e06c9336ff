// Texts of the interface's records.
#ifndef PCSIM_HOST_CORE_TEXT_H
#define PCSIM_HOST_CORE_TEXT_H

#include <cstring>
#include <string>

namespace pcsim::host {

// The text in a field of fixed size: up to its NUL, or all of it when there is none.
template <size_t size>
std::string textOf(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}

}  // namespace pcsim::host

#endif
