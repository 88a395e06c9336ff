// The operation tables that the library fills.
#ifndef PCSIM_HOST_CORE_OPTABLE_H
#define PCSIM_HOST_CORE_OPTABLE_H

#include <cstddef>

namespace pcsim::host {

// A table of 'Ops', a record of the interface. 'valid' once the library has filled it.
template <typename Ops>
struct OpTable {
    explicit OpTable(const char* tableName) : name(tableName) {}

    const char* name;
    Ops ops{};
    bool valid = false;

    const void* const* words() const { return reinterpret_cast<const void* const*>(&ops); }
    static constexpr size_t wordCount() { return sizeof(Ops) / sizeof(void*); }
};

}  // namespace pcsim::host

#endif
