// The card database and the slot records: which card sits in a slot, how many ports it has and
// which host interfaces they are.
#include "platform/card/pcSimCardDB.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "pcsim/host.h"
#include "platform/base/trace.h"
#include "platform/card/cardSlotOps.h"
#include "platform/card/cardTypes.h"
#include "platform/card/pcSimCard.h"
#include "platform/port/hostInterfaces.h"

namespace pcsim {
namespace {

extern const HalCardDbOps kCardDbOps;

// Rows of a port map exist for slots 0 to 10.
constexpr uint32_t kSlotRowCount = 11;

constexpr char kInterfacePattern[] = "eth%d";

// --- Port maps -----------------------------------------------------------------------------------

// A stackable's port p is interface p.
constexpr uint32_t kStackPortMap[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
static_assert(sizeof kStackPortMap / sizeof *kStackPortMap == kStackPortLimit);

// Interface numbers of the ports of each slot, one row per slot, for each size of card. Slot 0 has
// a row of its own, which negative slots share: what it holds is the same for all of them.
uint32_t portMapOfC2[kSlotRowCount][kCardC2.portCount];
uint32_t portMapOfC128[kSlotRowCount][kCardC128.portCount];
uint32_t portMapOfC256[kSlotRowCount][kCardC256.portCount];

// What the record of a chassis slot says about a card type.
struct SlotLayout {
    CardType type;
    uint32_t word4;
    uint32_t word8;
    uint32_t* portMap;  // row 0
};

const SlotLayout kSlotLayouts[] = {
    {kCardC2, 2000, 10000, portMapOfC2[0]},
    {kCardC128, 5000, 10000, portMapOfC128[0]},
    {kCardC256, 5000, 10000, portMapOfC256[0]},
};
// Management modules and unknown cards have no ports.
const SlotLayout kNoPorts = {{HAL_CARD_UNKNOWN, nullptr, 0}, 0, 0, nullptr};

const SlotLayout& layoutOf(uint32_t cardType, int32_t slot) noexcept {
    if (slot >= static_cast<int32_t>(kSlotRowCount)) return kNoPorts;  // no row to describe it in
    for (const SlotLayout& layout : kSlotLayouts)
        if (layout.type.number == cardType) return layout;
    return kNoPorts;
}

// The interface number of a slot's first port: the slots before it take two each up to slot 8, and
// as many as the slot's own card above.
uint32_t firstPortOf(int32_t slot, uint32_t portsPerHighSlot) noexcept {
    uint32_t port = 1;
    for (int32_t earlier = kFirstIoSlot; earlier < slot; ++earlier)
        port += earlier <= kLastIoSlot ? kCardC2.portCount : portsPerHighSlot;
    return port;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

namespace {

int32_t setUpCardDb(HalCardDb* db, uint8_t byte5) noexcept {
    static_cast<void>(pcSimInit());
    db->word0 = 1000;
    db->byte4 = 0;
    db->byte5 = byte5;
    db->ops = kCardDbOps;
    return 0;
}

void setInterfacePattern(HalCardSlotDb* db) noexcept {
    memcpy(db->interfacePattern, kInterfacePattern, sizeof kInterfacePattern);
}

}  // namespace

extern "C" {

// --- Card database -------------------------------------------------------------------------------

int32_t pcSimStackCardDBSetup(HalCardDb* db) noexcept {
    return setUpCardDb(db, 0);
}

int32_t pcSimChassisCardDBSetup(HalCardDb* db) noexcept {
    const char* remoteIo = getenv("HAL_SIM_REMOTE_IO");
    if (remoteIo != nullptr && strtol(remoteIo, nullptr, 10) != 0) simulateRemoteIO = 1;
    return setUpCardDb(db, 11);
}

int32_t pcSimCardLinkIntrEnable(int32_t slot, int32_t enable) noexcept {
    TRACE_CARD_DB_INFO("%s link interrupt for %s", enable != 0 ? "Enable" : "Disable",
                       getSlotName(slot));
    return 0;
}

// --- Slots ---------------------------------------------------------------------------------------

uint32_t pcSimStackCardGetId() noexcept {
    return HAL_CARD_STACKABLE;
}

uint32_t pcSimChassisCardGetId(int32_t slot) noexcept {
    if (slot > kLastIoSlot) return HAL_CARD_MANAGEMENT;
    if (slot >= kFirstIoSlot) return HAL_CARD_C2;
    if (getenv("VORN_TEST_UNKNOWN_CARD") == nullptr) return HAL_CARD_C256;
    // The order of these tests is fixed: slot 7 never gets this far, so the variable changes
    // nothing.
    return slot == 7 ? HAL_CARD_UNKNOWN : HAL_CARD_C256;
}

int32_t pcSimStackCardSlotDBSetup(int32_t, HalCardSlotDb* db) noexcept {
    db->word0 = 0;
    db->word4 = 2000;
    db->word8 = 0;
    setInterfacePattern(db);
    db->portCount = std::min(pcSimSystemNumPorts, kStackPortLimit);
    db->portMap = kStackPortMap;
    db->ops = kStackCardSlotOps;
    return 0;
}

int32_t pcSimChassisCardSlotDBSetup(int32_t slot, HalCardSlotDb* db) noexcept {
    const SlotLayout& layout = layoutOf(pcSimChassisCardGetId(slot), slot);
    const uint32_t portCount = layout.type.portCount;
    const uint32_t firstPort =
        firstPortOf(std::min(slot, static_cast<int32_t>(kSlotRowCount)), portCount);
    // The words 4 and 8 of a card whose interfaces can't exist are 0.
    const bool reachable = slot == kFirstIoSlot || firstPort <= kInterfaceLimit;
    uint32_t* row = layout.portMap;
    if (row != nullptr) {
        row += static_cast<uint32_t>(std::max(slot, 0)) * portCount;
        for (uint32_t i = 0; i < portCount; ++i) row[i] = firstPort + i;
    }

    db->word0 = 0;
    db->word4 = reachable ? layout.word4 : 0;
    db->word8 = reachable ? layout.word8 : 0;
    setInterfacePattern(db);
    db->portCount = portCount;
    db->portMap = row;
    db->ops = kChassisCardSlotOps;
    return 0;
}
}

// --- The table of the card database --------------------------------------------------------------

#pragma GCC diagnostic error "-Wmissing-field-initializers"

namespace pcsim {
namespace {

constexpr HalCardDbOps kCardDbOps = {
    .cardGetCapability = pcSimCardGetCapability,
    .familyDBSetup = pcSimFamilyDBSetup,
    .reserved16 = nullptr,
    .isCardHwPresent = pcSimIsCardHwPresent,
    .cardPowerEnable = pcSimCardPowerEnable,
    .cardOffline = pcSimCardOffline,
    .cardLinkIntrMask = pcSimCardLinkIntrMask,
    .cardLinkIntrEnable = pcSimCardLinkIntrEnable,
    .reserved40 = {},
};

}  // namespace
}  // namespace pcsim
