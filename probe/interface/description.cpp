// The generated description, compiled against the headers that it describes: sizes and offsets are
// the compiler's.
#include "pcsim/layout.h"
#include "probe/interface/c_library.h"
#include "probe/interface/tables.h"

namespace pcsim::probe::description {
namespace {

#include "probe/interface/description.inc"

}  // namespace

const std::span<const Operation> operations{operationTable};
const std::span<const Record> records{recordTable};
const std::span<const Function> functions{functionTable};
const std::span<const Variable> variables{variableTable};

}  // namespace pcsim::probe::description
