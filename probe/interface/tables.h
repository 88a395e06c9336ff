// The tables of the generated description, each sorted by name.
#ifndef PCSIM_PROBE_INTERFACE_TABLES_H
#define PCSIM_PROBE_INTERFACE_TABLES_H

#include "probe/interface/model.h"

namespace pcsim::probe::description {

extern const std::span<const Operation> operations;
extern const std::span<const Record> records;
extern const std::span<const Function> functions;
extern const std::span<const Variable> variables;

}  // namespace pcsim::probe::description

#endif
