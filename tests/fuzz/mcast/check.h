// The multicast database as the library has it, compared with the model.
#ifndef PCSIM_TESTS_FUZZ_MCAST_CHECK_H
#define PCSIM_TESTS_FUZZ_MCAST_CHECK_H

#include "tests/fuzz/mcast/model.h"

namespace pcsim::fuzz {

void checkMcast(const McastModel& model);

}  // namespace pcsim::fuzz

#endif
