// The hardware hooks. There is no switching chip to program, so they are empty; a host that has one
// defines them itself, and its definitions win. They are a file of their own so that no caller can
// see that they do nothing.
#include "platform/mcast/pcSimIPv4McDb.h"

extern "C" {
void ptagInit() noexcept {}
void ptagRelease() noexcept {}
void asicAddPort() noexcept {}
void asicDelPort() noexcept {}
}
