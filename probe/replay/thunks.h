// Functions of the HAL that was recorded: code that can be called, and says which of them it is.
#ifndef PCSIM_PROBE_REPLAY_THUNKS_H
#define PCSIM_PROBE_REPLAY_THUNKS_H

#include <cstdint>

namespace pcsim::probe {

constexpr uint32_t kThunks = 1024;

// The code of a number below kThunks.
void* thunkCode(uint32_t number);

// Who is told of the calls of all thunks: the number, and the words on the caller's stack. The
// result is what the call returns, in eax and edx.
using ThunkHandler = uint64_t (*)(uint32_t number, uint32_t* arguments);
void setThunkHandler(ThunkHandler handler);

}  // namespace pcsim::probe

#endif
