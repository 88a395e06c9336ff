/* Environment: fans and power supplies, their databases, readings and hardware information.
 *
 * Both kinds work alike. The HAL has one database record per kind and one slot-database record per
 * fan slot and per power supply; the setup operations fill them with constants and operations. The
 * HAL then polls presence, temperature, odometer and the kind's own readings. Presence comes from a
 * bit mask that module control replaces; every reading is a fixed function of the number asked for,
 * so that monitors see plausible, stable and distinguishable values. Nothing is stored.
 *
 * All operations return 0 unless said otherwise. Records and outputs are the caller's and not null;
 * reserved bytes, bytes behind the NUL of a text, and fields that a shape does not fill stay as
 * they were. Words without a name, and the units of readings, are the HAL's own.
 *
 * Thread: any of the HAL's, at any time. */
#ifndef PCSIM_ENV_H
#define PCSIM_ENV_H

#include "pcsim/base.h"
#include "pcsim/part_info.h"

PCSIM_BEGIN_DECLS

/* Set by module control, at any time. At load 0x0000000F (fans 0 to 3) and 0x0000001E (power
 * supplies 1 to 4). */
extern PCSIM_API HalPresenceMask pcSimFanPresentMask;
extern PCSIM_API HalPresenceMask pcSimPowerSupplyPresentMask;

/* --- Records and operations of both kinds ----------------------------------------------------- */

/* Whether unit 'number' is present; the low five bits of the number count, also of a negative one.
 * Live: the presence mask. */
typedef uint32_t HalIsUnitPresentFn(int32_t number);

/* Database record: one for all fans, one for all power supplies. */
typedef struct HalEnvDb {
    uint32_t word0;                /* 0 */
    uint32_t word1;                /* 1: of power supplies the HAL's own */
    uint32_t word2;                /* 2 */
    HalIsUnitPresentFn* isPresent; /* 3 */
    uint32_t word4;                /* 4 */
} HalEnvDb;

/* A rating: what a fan draws, or what an output line of a power supply delivers. Of a stack's
 * records only some fields are filled. */
typedef struct HalEnvRating {
    uint8_t byte0;   /* 0 */
    uint8_t byte1;   /* 1 */
    uint16_t half2;  /* 2 */
    uint16_t half4;  /* 4 */
    uint16_t half6;  /* 6 */
    uint32_t word8;  /* 8 */
    uint32_t word12; /* 12 */
    uint32_t word16; /* 16 */
} HalEnvRating;

/* What every hardware-information record begins with. Constant but for the time stamp. */
typedef struct HalEnvHwHead {
    uint8_t reserved0[4];
    HalPartInfo part; /* 4: bytes 70 to 75 of this head are left alone */
    uint8_t reserved84[32];
    PCSIM_IS(text) char version[40]; /* 116: "major.minor" */
    PCSIM_IS(text) char build[64];   /* 156 */
} HalEnvHwHead;

/* --- Fans ------------------------------------------------------------------------------------- */

typedef HalEnvDb HalFanDb;

#define HAL_FAN_PRESENT 2u

/* Whether a fan is present: HAL_FAN_PRESENT, else 0. Live: the presence mask. */
typedef HalIsUnitPresentFn HalIsFanPresentFn;

/* One named fan of a slot. */
typedef struct HalFanEntry {
    PCSIM_IS(text) char name[20];
} HalFanEntry;

/* A slot has at most this many fans: as many as the presence mask tells apart. */
#define HAL_FANS_MAX 32u

typedef struct HalFanHwInfo {
    HalEnvHwHead head;   /* 0: a stack leaves version and build alone */
    HalEnvRating rating; /* 220: a stack fills the first two bytes, with 0 */
    uint8_t reserved240[16];
    uint32_t fanCount; /* 256: number of 'fans' */
    uint8_t reserved260[4];
    PCSIM_IS(count fanCount, at most 32) HalFanEntry fans[]; /* 264 */
} HalFanHwInfo;

/* Fills the part information of fan 'number': a stack's fans are all called "Fan", on a chassis
 * number 1 is "Left" and every other "Right". Constant but for the time stamp. */
typedef uint32_t HalFanGetPartInfoFn(uint32_t number, PCSIM_IS(out) HalPartInfo* info);

/* Fills the hardware information of a slot with 'number' fans, and in it the part information of
 * fan 'number'. Each entry's name becomes empty; of a chassis with two fans the first is "Right"
 * and the second "Left". 'info' must have room for 'number' entries; a number above HAL_FANS_MAX
 * is stored but can't be a count, and no entry is touched. Constant but for the time stamp. */
typedef uint32_t HalFanReadHwInfoFn(uint32_t number, PCSIM_IS(out) HalFanHwInfo* info);

/* The temperature, slot + 2500, and the odometer, slot * 10 whatever was set. Simulated. */
typedef uint32_t HalFanReadTempFn(uint32_t slot, PCSIM_IS(out) uint32_t* temperature);
typedef uint32_t HalFanGetOdometerFn(uint32_t slot, PCSIM_IS(out) uint32_t* odometer);

/* Sets the odometer of 'slot' to 0: calls pcSimFanSetOdometer. Accepted and ignored. */
typedef uint32_t HalFanInitOdometerFn(int32_t slot);

/* Traced, not stored. Accepted and ignored. */
typedef uint32_t HalFanSetOdometerFn(int32_t slot, int32_t value);

/* Speed in revolutions per minute: fan + 10000 on a stack, fan + 20000 on a chassis. Simulated. */
typedef uint32_t HalFanReadRpmFn(uint32_t slot, uint32_t fan, PCSIM_IS(out) uint32_t* rpm);

/* Traced, not stored. 'percent' is of the maximum. Accepted and ignored. */
typedef uint32_t HalFanSetSpeedFn(int32_t fan, int32_t slot, int32_t percent);

/* Slot database of fans, fourteen words. */
typedef struct HalFanSlotDb {
    uint32_t word0;                        /* 0 */
    uint32_t word1;                        /* 1 */
    uint32_t word2;                        /* 2 */
    uint32_t word3;                        /* 3 */
    uint32_t word4;                        /* 4 */
    HalFanReadHwInfoFn* fanReadHwInfo;     /* 5 */
    HalFanReadTempFn* fanReadTemp;         /* 6 */
    HalFanInitOdometerFn* fanInitOdometer; /* 7 */
    HalFanSetOdometerFn* fanSetOdometer;   /* 8 */
    HalFanGetOdometerFn* fanGetOdometer;   /* 9 */
    HalFanReadRpmFn* fanReadRpm;           /* 10 */
    uint32_t word11;                       /* 11 */
    HalFanSetSpeedFn* fanSetSpeed;         /* 12 */
    uint32_t word13;                       /* 13 */
} HalFanSlotDb;

/* Fill the HAL's records with constants and operations, the same at every call. 'slot' is not
 * used. Constant. */
typedef uint32_t HalFanDBSetupFn(PCSIM_IS(out) HalFanDb* record);
typedef uint32_t HalFanSlotDBSetupFn(uint32_t slot, PCSIM_IS(out) HalFanSlotDb* record);

/* --- Power supplies --------------------------------------------------------------------------- */

typedef HalEnvDb HalPowerSupplyDb;

#define HAL_POWER_SUPPLY_PRESENT 4u

/* Whether a power supply is present: HAL_POWER_SUPPLY_PRESENT, else 0. Live: the presence mask. */
typedef HalIsUnitPresentFn HalIsPowerSupplyPresentFn;

/* Bit of HalPowerSupplyHwInfo.flags that reading the record clears. */
#define HAL_POWER_SUPPLY_FLAG3 8u

#define HAL_POWER_SUPPLY_LINES 3

typedef struct HalPowerSupplyHwInfo {
    HalEnvHwHead head;                          /* 0 */
    uint32_t word220;                           /* 220 */
    uint32_t word224;                           /* 224: a chassis leaves it alone */
    HalEnvRating lines[HAL_POWER_SUPPLY_LINES]; /* 228: a stack leaves half4 to half6, word12 and
                                                   word16 of the first alone; the others copy it */
    uint8_t reserved288[28];
    /* 316: HAL_POWER_SUPPLY_FLAG3 is cleared, the other bits stay */
    PCSIM_IS(in, hex) uint32_t flags;
} HalPowerSupplyHwInfo;

/* Fills the hardware information of power supply 'slot': name "Internal PSU-(slot + 1)", version
 * "1.(slot)". Constant but for these two, which follow the number, and the time stamp. */
typedef uint32_t HalPowerSupplyReadHwInfoFn(uint32_t slot,
                                            PCSIM_IS(out) HalPowerSupplyHwInfo* info);

/* The temperature, slot + 3000, and the odometer, slot * 100 whatever was set. Simulated. */
typedef uint32_t HalPSReadTempFn(uint32_t slot, PCSIM_IS(out) uint32_t* temperature);
typedef uint32_t HalPSGetOdometerFn(uint32_t slot, PCSIM_IS(out) uint32_t* odometer);

/* Does nothing; unlike that of the fans it does not set the odometer. Accepted and ignored. */
typedef uint32_t HalPSInitOdometerFn(uint32_t slot);

/* Traced, not stored. Accepted and ignored. */
typedef uint32_t HalPSSetOdometerFn(uint32_t slot, uint32_t value);

/* The two values of the input line: 12000 and 5000 on a stack, 24000 and 5000 on a chassis.
 * Constant. */
typedef uint32_t HalPSReadInputLineFn(uint32_t slot, PCSIM_IS(out) uint32_t* a,
                                      PCSIM_IS(out) uint32_t* b);

/* The two values of output line 'line'. On a chassis line 1 has 4891 and 5000, line 2 has 1376 and
 * 200; every other line, and every line of a stack, has 0 and 0. Constant. */
typedef uint32_t HalPSReadOutputLineFn(uint32_t slot, int32_t line, PCSIM_IS(out) uint32_t* a,
                                       PCSIM_IS(out) uint32_t* b);

/* Slot database of power supplies, sixteen words. */
typedef struct HalPSSlotDb {
    uint32_t word0;                                    /* 0 */
    uint32_t word1;                                    /* 1 */
    uint32_t word2;                                    /* 2 */
    uint32_t word3;                                    /* 3 */
    uint32_t word4;                                    /* 4 */
    HalPowerSupplyReadHwInfoFn* powerSupplyReadHwInfo; /* 5 */
    HalPSReadTempFn* pSReadTemp;                       /* 6 */
    HalPSInitOdometerFn* pSInitOdometer;               /* 7 */
    HalPSSetOdometerFn* pSSetOdometer;                 /* 8 */
    HalPSGetOdometerFn* pSGetOdometer;                 /* 9 */
    HalPSReadInputLineFn* pSReadInputLine;             /* 10 */
    HalPSReadOutputLineFn* pSReadOutputLine;           /* 11 */
    uint32_t words12[4];                               /* 12 */
} HalPSSlotDb;

/* Fill the HAL's records with constants and operations, the same at every call. Word 1 of the
 * database record is left alone. 'slot' is not used. Constant. */
typedef uint32_t HalPSDBSetupFn(PCSIM_IS(out) HalPowerSupplyDb* record);
typedef uint32_t HalPSSlotDBSetupFn(uint32_t slot, PCSIM_IS(out) HalPSSlotDb* record);

/* --- Operations by name ----------------------------------------------------------------------- */
/* One name per shape where the shapes differ. */

PCSIM_OPERATION(HalFanDBSetupFn, pcSimStackFanDBSetup);
PCSIM_OPERATION(HalFanDBSetupFn, pcSimChassisFanDBSetup);
PCSIM_OPERATION(HalFanSlotDBSetupFn, pcSimStackFanSlotDBSetup);
PCSIM_OPERATION(HalFanSlotDBSetupFn, pcSimChassisFanSlotDBSetup);
PCSIM_OPERATION(HalFanGetPartInfoFn, pcSimStackFanGetPartInfo);
PCSIM_OPERATION(HalFanGetPartInfoFn, pcSimChassisFanGetPartInfo);
PCSIM_OPERATION(HalFanReadHwInfoFn, pcSimStackFanReadHwInfo);
PCSIM_OPERATION(HalFanReadHwInfoFn, pcSimChassisFanReadHwInfo);
PCSIM_OPERATION(HalFanReadRpmFn, pcSimStackFanReadRpm);
PCSIM_OPERATION(HalFanReadRpmFn, pcSimChassisFanReadRpm);
PCSIM_OPERATION(HalIsFanPresentFn, pcSimIsFanPresent);
PCSIM_OPERATION(HalFanReadTempFn, pcSimFanReadTemp);
PCSIM_OPERATION(HalFanGetOdometerFn, pcSimFanGetOdometer);
PCSIM_OPERATION(HalFanInitOdometerFn, pcSimFanInitOdometer);
PCSIM_OPERATION(HalFanSetOdometerFn, pcSimFanSetOdometer);
PCSIM_OPERATION(HalFanSetSpeedFn, pcSimFanSetSpeed);

PCSIM_OPERATION(HalPSDBSetupFn, pcSimStackPSDBSetup);
PCSIM_OPERATION(HalPSDBSetupFn, pcSimChassisPSDBSetup);
PCSIM_OPERATION(HalPSSlotDBSetupFn, pcSimStackPSSlotDBSetup);
PCSIM_OPERATION(HalPSSlotDBSetupFn, pcSimChassisPSSlotDBSetup);
PCSIM_OPERATION(HalPowerSupplyReadHwInfoFn, pcSimStackPowerSupplyReadHwInfo);
PCSIM_OPERATION(HalPowerSupplyReadHwInfoFn, pcSimChassisPowerSupplyReadHwInfo);
PCSIM_OPERATION(HalPSReadInputLineFn, pcSimStackPSReadInputLine);
PCSIM_OPERATION(HalPSReadInputLineFn, pcSimChassisPSReadInputLine);
PCSIM_OPERATION(HalPSReadOutputLineFn, pcSimStackPSReadOutputLine);
PCSIM_OPERATION(HalPSReadOutputLineFn, pcSimChassisPSReadOutputLine);
PCSIM_OPERATION(HalIsPowerSupplyPresentFn, pcSimIsPowerSupplyPresent);
PCSIM_OPERATION(HalPSReadTempFn, pcSimPSReadTemp);
PCSIM_OPERATION(HalPSGetOdometerFn, pcSimPSGetOdometer);
PCSIM_OPERATION(HalPSInitOdometerFn, pcSimPSInitOdometer);
PCSIM_OPERATION(HalPSSetOdometerFn, pcSimPSSetOdometer);

PCSIM_END_DECLS

#endif
