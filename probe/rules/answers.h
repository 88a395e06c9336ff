// What a rule lets an operation answer in its callee's stead.
#ifndef PCSIM_PROBE_RULES_ANSWERS_H
#define PCSIM_PROBE_RULES_ANSWERS_H

#include <cstdint>
#include <string>

#include "probe/interface/model.h"

namespace pcsim::probe {

// What a function answers that fails: -1, a null record; nothing where it returns nothing.
uint64_t failureOf(const Function& function);
// "returns R": a number that the result's type holds, or null. Throws a CommandError that says what
// would fit.
uint64_t resultOf(const std::string& operation, const Function& function, const std::string& text);
// Why a function of the C library has failed.
int errorOf(const Function& function);

}  // namespace pcsim::probe

#endif
