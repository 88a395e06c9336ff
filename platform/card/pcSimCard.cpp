// The life cycle of cards: requests are acknowledged at once, and where remote I/O is simulated a
// host task reports the state that real hardware would reach, after the time that it would take.
#include "platform/card/pcSimCard.h"

#include <cstdio>
#include <cstring>

#include "pcsim/host.h"
#include "platform/base/stub.h"
#include "platform/base/trace.h"
#include "platform/card/cardTypes.h"
#include "platform/port/pcSimPort.h"

// An irregular default that the HAL relies on: slots 0 to 7, 9, 10 and 16 to 31 are occupied.
PCSIM_EXPORT uint32_t pcSimCardPresentMask = 0xFFFF06FFu;
PCSIM_EXPORT int32_t simulateRemoteIO = 0;

namespace pcsim {
namespace {

// A state that the hardware reports some time after the request.
struct DelayedReport {
    uint32_t state;
    uint32_t delayMs;
};

// clang-format off
constexpr DelayedReport kPoweredOn   = {HAL_CARD_STATE_POWERED_ON,   2000};
constexpr DelayedReport kPoweredOff  = {HAL_CARD_STATE_POWERED_OFF,  2000};
constexpr DelayedReport kPostDone    = {HAL_CARD_STATE_POST_DONE,   10000};
constexpr DelayedReport kDownloaded  = {HAL_CARD_STATE_DOWNLOADED,   5000};
constexpr DelayedReport kBooted      = {HAL_CARD_STATE_BOOTED,       5000};
constexpr DelayedReport kDiagDone    = {HAL_CARD_STATE_DIAG_DONE,    5000};
// clang-format on

// Schedules 'report' for the card in 'slot'. 1 when it will follow, 0 when nobody reports.
int32_t reportLater(int32_t slot, const DelayedReport& report) noexcept {
    if (halAmIPrimary() == 0) return 0;  // a backup never drives card states
    if (slot > kLastIoSlot) return 0;
    if (simulateRemoteIO == 0) return 0;
    static_cast<void>(halScheduleTask(pcSimDelayRelyCallback,
                                      static_cast<uint32_t>(slot) << 16 | report.state, 0,
                                      report.delayMs, "pcSimDelayRelyCallback"));
    return 1;
}

// The two names of a backplane link, asked for when the first of them is needed: a silent trace
// asks for none. The host's text lives until its next call, so the one that is asked for first is
// a copy.
class LinkEnds {
public:
    LinkEnds(int32_t fromSlot, int32_t toSlot) noexcept : fromSlot_(fromSlot), toSlot_(toSlot) {}
    const char* from() noexcept {
        ask();
        return from_;
    }
    const char* to() noexcept {
        ask();
        return to_;
    }

private:
    void ask() noexcept {
        if (to_ != nullptr) return;
        snprintf(from_, sizeof from_, "%s", getSlotName(fromSlot_));
        to_ = getSlotName(toSlot_);
    }

    int32_t fromSlot_;
    int32_t toSlot_;
    const char* to_ = nullptr;
    char from_[512];
};

const char* enableText(int32_t enable) noexcept {
    return enable != 0 ? "Enable" : "Disable";
}

// slot x factor + base, in the wrapping arithmetic of the interface's words.
int32_t scaled(int32_t slot, uint32_t factor, uint32_t base) noexcept {
    return static_cast<int32_t>(static_cast<uint32_t>(slot) * factor + base);
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

// --- Requests that report later ------------------------------------------------------------------

int32_t pcSimCardPowerEnable(int32_t slot, int32_t on) noexcept {
    TRACE_CARD("Turn %s power to %s", on != 0 ? "on" : "off", getSlotName(slot));
    return reportLater(slot, on != 0 ? kPoweredOn : kPoweredOff);
}

int32_t pcSimCardRunExtPost(int32_t slot, int32_t maxTimeMs) noexcept {
    TRACE_CARD("Run extended post on %s with max time of %d msec", getSlotName(slot), maxTimeMs);
    return reportLater(slot, kPostDone);
}

int32_t pcSimCardStartDownload(int32_t slot, const char* image) noexcept {
    TRACE_CARD("Start downloading %s - image %s", getSlotName(slot), image);
    return reportLater(slot, kDownloaded);
}

int32_t pcSimCardStartBooting(int32_t slot) noexcept {
    TRACE_CARD("Start booting %s", getSlotName(slot));
    return reportLater(slot, kBooted);
}

int32_t pcSimCardDiagnosticsRun(int32_t slot) noexcept {
    TRACE_CARD("Run diag on %s.", getSlotName(slot));
    return reportLater(slot, kDiagDone);
}

int32_t pcSimDelayRelyCallback(uint32_t value, uint32_t argument) noexcept {
    const int32_t slot = static_cast<int32_t>(value) >> 16;
    const int32_t state = static_cast<int32_t>(value & 0xFFFFu);
    static_cast<void>(halCardStatusUpdate(slot, state, argument));
    TRACE_CARD("%s state %s", getSlotName(slot), halGetCardStateString(state));
    return 0;
}

// --- Requests answered at once -------------------------------------------------------------------

int32_t pcSimInit() noexcept {
    TRACE_CARD("Software initialization for cards resources");
    return 0;
}

int32_t pcSimCardInit(int32_t slot) noexcept {
    TRACE_CARD("Initializing resources for %s.", getSlotName(slot));
    static_cast<void>(pcSimPortInit(slot));
    return 0;
}

int32_t pcSimCardCleanup(int32_t slot) noexcept {
    TRACE_CARD("Cleaning up resources for %s.", getSlotName(slot));
    return 0;
}

int32_t pcSimCardPowerOnCheck(int32_t slot) noexcept {
    TRACE_CARD("Hardware access on %s established", getSlotName(slot));
    return 0;
}

int32_t pcSimCardInternalLinkEnable(int32_t fromSlot, int32_t toSlot, int32_t enable) noexcept {
    LinkEnds ends(fromSlot, toSlot);
    TRACE_CARD("%s backplane link from %s to %s.", enableText(enable), ends.from(), ends.to());
    return 0;
}

int32_t pcSimCardInternalLinkConfigLoadSharing(int32_t fromSlot, int32_t toSlot,
                                               int32_t mode) noexcept {
    LinkEnds ends(fromSlot, toSlot);
    TRACE_CARD("Config loadshare mode %d on backplane link from %s to %s.", mode, ends.from(),
               ends.to());
    return 0;
}

int32_t pcSimMacIntEnable(int32_t slot, int32_t enable) noexcept {
    TRACE_CARD("%s mac interrupt for %s.", enableText(enable), getSlotName(slot));
    return 0;
}

int32_t pcSimMacIntrGetMask(int32_t, uint32_t* mask) noexcept {
    *mask = 0xFFFFFFFFu;
    return 0;
}

int32_t pcSimCardLinkIntrMask() noexcept {
    return 2;
}

int32_t pcSimIsCardHwPresent(int32_t slot) noexcept {
    const uint32_t bit = static_cast<uint32_t>(slot) % 32;
    return (pcSimCardPresentMask >> bit & 1u) != 0 ? HAL_CARD_HW_PRESENT : 0;
}

int32_t pcSimCardReadTemperature(int32_t slot, int32_t* temperature) noexcept {
    *temperature = scaled(slot, 10, 2000);
    return 0;
}

int32_t pcSimCardGetOdometer(int32_t slot, int32_t* odometer) noexcept {
    *odometer = scaled(slot, 1000, 0);
    return 0;
}

int32_t pcSimCardDiagnosticsGetResult(int32_t, HalCardDiagnosticsResult* result) noexcept {
    static constexpr char kMessage[] = "Diag not supported";
    static_assert(sizeof kMessage == sizeof result->message);
    memset(result->bytes0, 0, sizeof result->bytes0);
    result->byte52 = 0;
    result->byte116 = 0;
    memcpy(result->message, kMessage, sizeof kMessage);
    return 0;
}

// Accepted and ignored.
PCSIM_DEFINE_STUB(pcSimCardOffline)
PCSIM_DEFINE_STUB(pcSimCardOptionEnable)
PCSIM_DEFINE_STUB(pcSimCardLEDSet)
PCSIM_DEFINE_STUB(pcSimCardSetOdometer)
PCSIM_DEFINE_STUB(pcSimCardInitOdometer)
}
