/* Platform devices: two power-supply controllers called Tarn (devices 0 and 1), a USB mouse (3) and
 * a floppy drive (5).
 *
 * The library registers them once with one record, reports a change of state through
 * halUpdateDeviceInfo every 5 s, and answers the HAL's commands. All records but the capability
 * stay the library's for its whole life; the HAL reads them in place. Lettered and numbered fields
 * are the HAL's own. Integers are little-endian.
 *
 * Thread: any of the HAL's, one call at a time; the state poll runs in its timer context. */
#ifndef PCSIM_DEVICE_H
#define PCSIM_DEVICE_H

#include "pcsim/base.h"
#include "pcsim/host.h"
#include "pcsim/part_info.h"

PCSIM_BEGIN_DECLS

/* Device numbers run from 0 to 5; 2 and 4 are free. */
#define HAL_DEVICE_NUMBERS 6
#define HAL_DEVICES_REGISTERED 4

/* State of each device, by number; set through the command line, reported by the next poll. At
 * load 1, 2, 0, 6, 0, 0. */
extern PCSIM_API uint32_t pcSimDeviceState[HAL_DEVICE_NUMBERS];

/* --- Records ---------------------------------------------------------------------------------- */

typedef struct HalDeviceEntry {
    PCSIM_IS(text) char typeName[32]; /* 0: "PSUCTRL", "mouse" or "floppy", NUL-padded */
    uint8_t reserved32;               /* 32: 0 */
    PCSIM_IS(text) char label[32];    /* 33: which one of its type, NUL-padded */
    uint8_t reserved65[7];            /* 65: 0 */
    uint32_t device;                  /* 72: device number */
} HalDeviceEntry;

typedef struct PCSIM_IS(platform) HalDeviceRegistration {
    PCSIM_IS(record size) uint32_t size;            /* 0: of the whole record, in bytes */
    uint32_t deviceCount;                           /* 4 */
    HalDeviceEntry devices[HAL_DEVICES_REGISTERED]; /* 8 */
} HalDeviceRegistration;

/* Identity of a device. Constant but for the state and the time of registration. */
typedef struct PCSIM_IS(platform) HalDeviceInfo {
    uint32_t reportedState; /* 0: what the HAL was last told */
    uint32_t device;        /* 4 */
    uint8_t reserved8[36];
    HalPartInfo part; /* 44 */
    uint8_t reserved124[32];
    PCSIM_IS(text) char version[40]; /* 156: "major.minor" */
    PCSIM_IS(text) char build[64];   /* 196 */
    uint8_t byte260;                 /* 260 */
    uint8_t byte261;                 /* 261 */
    uint16_t half262;                /* 262 */
    uint32_t word264;                /* 264 */
    uint32_t word268;                /* 268 */
    uint32_t word272;                /* 272 */
    uint8_t reserved276[24];
} HalDeviceInfo;

/* What a device answers to the last command. Time stamp and value are 0 until a status query sets
 * them: that of a Tarn to the host's monotonic time and 2500 or 2600, that of the mouse to 0 and
 * 2700. One of the floppy leaves its own as they are (so 0 and 0) and sets the mouse's to the
 * monotonic time and 0, which the mouse's own next query undoes. */
typedef struct PCSIM_IS(platform) HalDeviceStatus {
    uint32_t device;                     /* 0 */
    PCSIM_IS(record size) uint32_t size; /* 4: of the whole record, in bytes */
    PCSIM_IS(varies) uint32_t timeStamp; /* 8 */
    uint32_t value;                      /* 12 */
    PCSIM_IS(text) char text[256];       /* 16: "None" until a command has written it */
} HalDeviceStatus;

#define HAL_DEVICE_REGISTER 1u
#define HAL_DEVICE_GET_INFO 2u
#define HAL_DEVICE_GET_STATUS 3u
#define HAL_DEVICE_ENABLE 4u
#define HAL_DEVICE_DISABLE 5u
#define HAL_DEVICE_RESTART 6u

typedef struct HalDeviceCommand {
    uint32_t code;   /* 0: one of HAL_DEVICE_... */
    uint32_t device; /* 4 */
    uint32_t reply;  /* 8: handed back with the answer, unchanged */
} HalDeviceCommand;

/* What a device type can do. */
typedef struct HalDeviceCapability {
    PCSIM_IS(record size) uint32_t size; /* 0: of the whole record, in bytes */
    PCSIM_IS(text) char typeName[32];    /* 4: NUL-padded, not terminated when 32 long */
    PCSIM_IS(varies) uint8_t unset36[4]; /* 36: whatever the memory held */
    PCSIM_IS(hex) uint32_t bits; /* 40: 7 for "PSUCTRL", 1 for "mouse", 3 for "floppy", else 0 */
} HalDeviceCapability;

/* A device command of the HAL's command line. */
typedef struct HalDeviceCli {
    PCSIM_IS(text) char keyword[88]; /* 0: NUL-terminated */
    uint32_t arguments[3];           /* 88 */
} HalDeviceCli;

/* --- Operations ------------------------------------------------------------------------------- */

/* A new capability record for 'typeName' (NUL-terminated, not null; compared whole). The HAL owns
 * it and frees it with free(). Null when there is no memory. Constant. */
typedef PCSIM_IS(given) HalDeviceCapability* HalGetDeviceCapabilityFn(PCSIM_IS(text)
                                                                          const char* typeName);

#define HAL_DEVICE_UNSUPPORTED (-2)
#define HAL_DEVICE_INVALID (-32)

/* Carries out 'command' (not null, not kept). HAL_DEVICE_REGISTER registers the same record again,
 * for whatever device, and returns 0. HAL_DEVICE_GET_INFO and HAL_DEVICE_GET_STATUS return what
 * halUpdateDeviceInfo and halUpdateDeviceStatus return. The others write a status text, print it
 * and return 0. What a device can't do returns HAL_DEVICE_UNSUPPORTED, what doesn't exist
 * HAL_DEVICE_INVALID, both after halDeviceCmdError. Before the devices are registered,
 * HAL_DEVICE_REGISTER registers them and returns what that returns (0, or -1 to -5 when memory runs
 * out); every other code returns -1, and then nothing else happens. Simulated. */
typedef int32_t HalDeviceCommandFn(const HalDeviceCommand* command);

/* Starts the state poll (halStartTimer, 5000 ms) and registers the devices; system initialisation
 * calls it once. What the registration returns. Live. Thread: the HAL's main thread, at start-up;
 * the poll runs in the HAL's timer context. */
typedef int32_t HalDeviceInitFn(void);

/* Builds all records, at a later call the same ones anew, and hands them to halRegisterDevice once,
 * whose result is ignored. 0; -1 when there is no memory for the registration record, -2 to -5 for
 * the status record of device 0, 1, 3 or 5: what was allocated until then is kept for the next try.
 * Constant but for the time stamps. */
typedef int32_t HalRegisterDeviceFn(void);

/* What HalDeviceCommandFn hands the commands of one kind of device to; HAL_DEVICE_REGISTER is no
 * command of theirs. A number other than 0 and 1 is no Tarn and answers as an unknown device.
 * Simulated. */
typedef int32_t HalTarnCmdFn(uint32_t deviceNumber, const HalDeviceCommand* command);
typedef int32_t HalMouseCmdFn(const HalDeviceCommand* command);
typedef int32_t HalFloppyCmdFn(const HalDeviceCommand* command);

/* Carries out a line of the HAL's command line, which module control passes on as
 * HAL_MODULE_DEVICE_COMMAND; called by name, it also tells the result. Keyword "state" (in any
 * case): sets pcSimDeviceState[arguments[0]] to arguments[1], for the next poll to report; 0, -1
 * for a device above 5. Any other keyword: the command with code, device and reply handle in
 * 'arguments', and its result. Prints what it does. Simulated. */
typedef int32_t HalDeviceCLIHookFn(const HalDeviceCli* cli);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalDeviceInitFn, pcSimDeviceInit);
PCSIM_OPERATION(HalRegisterDeviceFn, pcSimRegisterDevice);
PCSIM_OPERATION(HalGetDeviceCapabilityFn, pcSimGetDeviceCapability);
PCSIM_OPERATION(HalDeviceCommandFn, pcSimDeviceCommand);
PCSIM_OPERATION(HalTarnCmdFn, pcSimTarnCmd);
PCSIM_OPERATION(HalMouseCmdFn, pcSimMouseCmd);
PCSIM_OPERATION(HalFloppyCmdFn, pcSimFloppyCmd);
PCSIM_OPERATION(HalDeviceCLIHookFn, pcSimDeviceCLIHook);

PCSIM_END_DECLS

#endif
