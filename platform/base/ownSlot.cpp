// The shape of the system and its own slot.
#include "platform/base/ownSlot.h"

#include <cstdlib>

namespace pcsim {
namespace {

// Own slot where the environment names none; a chassis has kChassisOwnSlot.
constexpr int32_t kStackOwnSlot = 1;

bool pcSimIsChassis;

}  // namespace

void setShape(bool chassis) noexcept {
    pcSimIsChassis = chassis;
}

}  // namespace pcsim

using namespace pcsim;

extern "C" {

// The environment's value counts as it is: a text that is no number is slot 0.
int32_t pcSimGetMySlotNum() noexcept {
    const char* slotId = getenv("VORN_SLOT_ID");
    if (slotId != nullptr) return static_cast<int32_t>(strtol(slotId, nullptr, 10));
    return pcSimIsChassis ? kChassisOwnSlot : kStackOwnSlot;
}
}
