/* The part-information record: identity of one replaceable part. Cards, CPU subsystems, fans,
 * power supplies and devices carry one inside their own records. */
#ifndef PCSIM_PART_INFO_H
#define PCSIM_PART_INFO_H

#include "pcsim/base.h"

typedef struct HalPartInfo {
    PCSIM_IS(text) char description[32];  /* 0: NUL-terminated, cut at 31 characters */
    PCSIM_IS(text) char serialNumber[16]; /* 32 */
    PCSIM_IS(text) char partNumber[16];   /* 48 */
    uint8_t byte64;                       /* 64: host-defined */
    uint8_t byte65;                       /* 65: host-defined */
    uint8_t reserved66[2];
    uint32_t word68;                     /* 68: written for devices alone */
    PCSIM_IS(varies) uint32_t timeStamp; /* 72: seconds since the epoch at the call */
    uint32_t word76;                     /* 76: host-defined */
} HalPartInfo;

#endif
