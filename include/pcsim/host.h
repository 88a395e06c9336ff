/* What the host provides: every function and global of the HAL and its system manager that the
 * library refers to, beside the logger (ems.h), the ordered tree (host_tree.h) and the interface
 * records (host_records.h).
 *
 * References are bound when a call is first made, so a host may leave out what it never causes to
 * be called.
 *
 * Thread: the library calls from the HAL's own threads and holds no lock while it does: from that
 * of the operation in progress, from the timer context (halStartTimer) or from the task context
 * (halScheduleTask). */
#ifndef PCSIM_HOST_H
#define PCSIM_HOST_H

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

/* --- Platform and system manager -------------------------------------------------------------- */

#define HAL_PLATFORM_CHASSIS 2

/* HAL_PLATFORM_CHASSIS makes a chassis, anything else a stackable. Called once, by
 * platformSystemInit. */
int32_t dmGetPlatformType(void);

/* Number of virtual routers. Asked once, when system initialisation sets up the multicast database
 * (and again by a host that calls pcSimHalIPv4McDbInit itself): a router that appears later has no
 * caches. */
uint32_t dmGetMaxVr(void);

/* Non-zero on the primary system. A backup never drives card states. */
PCSIM_IS(flag) int32_t halAmIPrimary(void);

/* Writes the 6-byte system MAC address to 'mac'. 0; non-zero when there is none, and then the
 * library uses placeholder addresses. */
int32_t getSystemMac(PCSIM_IS(out, mac, elements 6) uint8_t* mac,
                     PCSIM_IS(ignored) int32_t ignored);

/* Records the progress of a checkpoint. */
void setCheckpointStats(int32_t a, int32_t b, int32_t percent);

/* Monotonic time stamp in the host's unit; 'ignored' is 0. */
PCSIM_IS(varies) uint32_t monotime(PCSIM_IS(ignored) int32_t ignored);

/* --- Timers and tasks ------------------------------------------------------------------------- */

/* Called with the argument the timer was started with. Callback. */
typedef void HalTimerFn(uint32_t argument);

/* Starts a periodic timer of 'periodMs' milliseconds that calls 'callback(argument)'. The library
 * passes 0 for the third and fifth argument and never stops a timer. The result is ignored. */
int32_t halStartTimer(PCSIM_IS(kept) HalTimerFn* callback, uint32_t argument, uint32_t zero1,
                      uint32_t periodMs, uint32_t zero2);

/* Called with the two arguments given to halScheduleTask. Callback. */
typedef int32_t HalTaskFn(uint32_t argument1, uint32_t argument2);

/* Runs 'task(argument1, argument2)' once, 'delay' later, on the HAL's task context. The unit is the
 * host's: the reports of cards (2000, 5000, 10000) are meant as milliseconds; the completions of a
 * forwarding state (50) and of a flush (100) are whatever the same call makes of them.
 * 'name' is a constant text for the host's listings. The result is ignored. */
int32_t halScheduleTask(PCSIM_IS(kept) HalTaskFn* task, uint32_t argument1, uint32_t argument2,
                        uint32_t delay, PCSIM_IS(text, kept) const char* name);

/* A completion callback that the HAL hands to an operation: run by the scheduled task with the
 * HAL's two arguments and two zeros. Callback. */
typedef int32_t HalCompletionFn(uint32_t argument1, uint32_t argument2, uint32_t zero1,
                                uint32_t zero2);

/* --- Cards ------------------------------------------------------------------------------------ */

/* Card states that the library reports. */
#define HAL_CARD_STATE_POWERED_OFF 3
#define HAL_CARD_STATE_POWERED_ON 7
#define HAL_CARD_STATE_POST_DONE 9
#define HAL_CARD_STATE_DOWNLOADED 11
#define HAL_CARD_STATE_BOOTED 13
#define HAL_CARD_STATE_DIAG_DONE 15

/* Reports that the card in 'slot' has reached 'state'. 'argument' is what the host handed to the
 * delayed report. The result is ignored. */
int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t argument);

/* Printable name of a card state; valid until the next call. For traces. */
PCSIM_IS(text) const char* halGetCardStateString(int32_t state);

/* Non-zero when the card in 'slot' is operational. */
PCSIM_IS(flag) int32_t halIsCardOperational(uint32_t slot);

/* Printable name of a slot; valid until the next call. For traces. */
PCSIM_IS(text) const char* getSlotName(int32_t slot);

/* --- Ports ------------------------------------------------------------------------------------ */

/* Number of the slot's management port; the library looks only at whether it is zero. */
int32_t getMgmtPort(uint32_t slot);

/* N of the interface "ethN" that backs a front-panel port. */
uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port);

/* Printable name of a port; valid until the next call. For traces and messages. */
PCSIM_IS(text) const char* halPortInstName(HalPortInstance portInstance);

/* The management port's link went up ('link' 1) or down (0). 'duplex', 'speed' and 'flowControl'
 * are the link query's outputs in its own order. The result is ignored. */
int32_t halNotifyLinkStateChange(HalPortInstance portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t zero1,
                                 uint32_t zero2);

/* --- Devices ---------------------------------------------------------------------------------- */

struct HalDeviceRegistration;
struct HalDeviceInfo;
struct HalDeviceStatus;
struct HalDeviceCommand;

/* Hands over the registration record, which stays the library's and stays valid. The result is
 * ignored. */
int32_t halRegisterDevice(PCSIM_IS(kept) struct HalDeviceRegistration* registration);

/* A device's information, asked for ('reply' is the command's handle) or reported by the state
 * poll ('reply' is 0). The record stays the library's. */
int32_t halUpdateDeviceInfo(struct HalDeviceInfo* info, uint32_t reply);

/* A device's status, asked for with 'reply'. The record stays the library's. */
int32_t halUpdateDeviceStatus(struct HalDeviceStatus* status, uint32_t reply);

/* A command that can't be carried out, with the code that it answers. 'command' and 'text' are
 * valid during the call alone. The result is ignored. */
int32_t halDeviceCmdError(const struct HalDeviceCommand* command, int32_t errorCode,
                          PCSIM_IS(text) const char* text);

/* --- Replies ---------------------------------------------------------------------------------- */

#define HAL_REPLY_POE 0x9001u

/* Sends 'length' bytes of 'message' to the owner of 'handle'. The message is the caller's and is
 * copied before the call returns. The result is ignored. */
int32_t replyHandleSend(uint32_t handle, PCSIM_IS(hex) uint32_t messageId,
                        PCSIM_IS(count length) const void* message, uint32_t length, int32_t flag);

/* Reply handle of the host's PoE manager, read at each query; 0 when the host has none. */
extern uint32_t poeHandle;

/* --- Global switches -------------------------------------------------------------------------- */

/* Bit of HalGlobal.switches15: an invalid adjacency compare traps. */
#define HAL_GLOBAL_ASSERT 0x20u

/* The host's global record; one byte of it is read. A host without one has all switches off. */
typedef struct HalGlobal {
    uint8_t reserved0[15];
    PCSIM_IS(hex) uint8_t switches15; /* 15 */
} HalGlobal;

extern HalGlobal gHal;

PCSIM_END_DECLS

#endif
