/* The HAL's own records of interfaces, as far as the library reads them: VLANs (vlanIf), ports and
 * trunks (pif) and the membership of one port in one VLAN (vpif). The HAL allocates, fills and
 * frees them; the library looks at them during a call and, in the multicast database, keeps the
 * pointers of records that are in use. Reserved bytes are the host's and never touched. */
#ifndef PCSIM_HOST_RECORDS_H
#define PCSIM_HOST_RECORDS_H

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

/* The types of a port instance (base.h). */
#define HAL_PORT_TYPE_FRONT_PANEL 0u
#define HAL_PORT_TYPE_TRUNK 1u
#define HAL_PORT_TYPE_MANAGEMENT 2u

/* A hardware handle: an opaque 4-byte block that the library allocates on create and frees on the
 * matching delete. The HAL keeps the pointer. */
typedef PCSIM_IS(platform) uint32_t HalHwHandle;

typedef struct PCSIM_IS(host) HalVlanIf {
    HalHwHandle** hwHandle; /* 0: where the HAL keeps the VLAN's hardware handle */
    uint8_t reserved4[8];
    HalVlanInstance instance; /* 12 */
    uint8_t reserved16[116];
    PCSIM_IS(vlan) uint16_t vlanId; /* 132 */
    uint8_t reserved134[2];
} HalVlanIf;

typedef struct PCSIM_IS(host) HalPif {
    uint8_t reserved0[16];
    HalPortInstance instance; /* 16: the pif's own */
    uint8_t reserved20[20];
    HalPortInstance trunkInstance; /* 40: of its trunk; type 1 when it is a member of one */
    uint8_t reserved44[20];
    uint16_t slot; /* 64 */
    uint16_t port; /* 66 */
    uint8_t reserved68[1664];
    HalHwHandle** hwHandle; /* 1732: where the HAL keeps the pif's hardware handle */
} HalPif;

/* Bit of HalVpif.flags: the port is a tagged (802.1Q) member of the VLAN. */
#define HAL_VPIF_TAGGED 0x20u
/* Bits of HalVpif.state that hold the forwarding state. */
#define HAL_VPIF_FORWARDING_STATE 0xFFFFu

typedef struct PCSIM_IS(host) HalVpif {
    uint8_t reserved0[36];
    HalPif* pif; /* 36 */
    uint8_t reserved40[16];
    HalVlanIf* vlanIf; /* 56 */
    uint8_t reserved60[16];
    PCSIM_IS(hex) uint32_t state; /* 76 */
    uint8_t reserved80[12];
    PCSIM_IS(hex) uint32_t flags; /* 92 */
    uint8_t reserved96[8];
    HalHwHandle** hwHandle; /* 104: where the HAL keeps the vpif's hardware handle */
} HalVpif;

/* Stores the record of a VLAN instance in '*record', null when there is none. */
void getVlanIfByInstance(HalVlanInstance instance, PCSIM_IS(out, kept) HalVlanIf** record);

/* Stores the record of a port instance in '*record', null when there is none. */
void getPifByPortInstance(HalPortInstance portInstance, PCSIM_IS(out, kept) HalPif** record);

/* Stores the record of a port in '*record', null when there is none. */
void getPifBySlotPort(uint32_t slot, uint32_t port, PCSIM_IS(out, kept) HalPif** record);

/* The HAL's first pif in its own order, null when there is none. */
HalPif* getFirstPif(void);

/* The pif after the one with 'portInstance', null at the end. */
HalPif* getNextPif(HalPortInstance portInstance);

PCSIM_END_DECLS

#endif
