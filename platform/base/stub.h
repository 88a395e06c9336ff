// Operations that a HAL may call and that have nothing to do here: they accept whatever arguments
// come and answer 0. A module with many lists their names once, in a macro that takes what to do
// with each.
#ifndef PCSIM_BASE_STUB_H
#define PCSIM_BASE_STUB_H

#include <stdint.h>

#include "platform/base/export.h"

// clang-format off
#define PCSIM_DEFINE_STUB(name) int32_t name(...) noexcept { return 0; }
// clang-format on

#endif
