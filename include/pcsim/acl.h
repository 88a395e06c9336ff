/* IPv4 access lists: the requests by which the HAL hands over compiled rule arrays, binds them to a
 * VLAN and port and reads their counters, and the operations of the card family that take them.
 *
 * The list named HAL_ACL_DYNAMIC_RULES is the HAL's own collection of dynamic rules: it is never
 * stored, requests for it print a line at most. A null request stops the process.
 *
 * Thread: any of the HAL's, one access-list call at a time. */
#ifndef PCSIM_ACL_H
#define PCSIM_ACL_H

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

#define HAL_ACL_DYNAMIC_RULES "\tDynamic ACL Rules\t"

/* Names are NUL-terminated; 31 characters of a longer one count. */
#define HAL_ACL_NAME_SIZE 32

/* One compiled rule, 'length' bytes long; the next one follows at once. */
typedef struct HalAclRule {
    PCSIM_IS(text) char name[36]; /* 0: NUL-terminated */
    uint32_t ruleIndex;           /* 36 */
    uint32_t nextIndex;           /* 40 */
    uint8_t action;               /* 44: the low 3 bits */
    uint8_t reserved45;
    uint16_t length; /* 46: bits 6 to 15 are the record's length in bytes; 0 ends the array */
} HalAclRule;

#define HAL_ACL_RULE_LENGTH_SHIFT 6
#define HAL_ACL_RULE_ACTION 7u

/* Add, refresh, refresh-diff. */
typedef struct HalAclListRequest {
    PCSIM_IS(text) char name[HAL_ACL_NAME_SIZE]; /* 0 */
    uint8_t reserved32[4];
    uint32_t value; /* 36: the HAL's, stored with the list */
    uint8_t reserved40[8];
    uint16_t ruleCount;    /* 48 */
    uint16_t counterCount; /* 50: 16-byte counters that each binding gets */
    uint8_t reserved52[48];
    /* 100: from malloc; passes to the platform with the call */
    PCSIM_IS(chain length >> 6, count ruleCount, taken) HalAclRule* rules;
} HalAclListRequest;

/* Delete. */
typedef struct HalAclDeleteRequest {
    PCSIM_IS(text) char name[HAL_ACL_NAME_SIZE]; /* 0 */
    uint8_t reserved32[20];
    PCSIM_IS(hex) uint32_t flags; /* 52: HAL_ACL_DELETE_DYNAMIC */
    uint32_t index;               /* 56: of the dynamic rule; printed alone */
} HalAclDeleteRequest;

#define HAL_ACL_DELETE_DYNAMIC 2u

/* Config, unconfig: binds a list to an instance, which is one (VLAN, port, key). */
typedef struct HalAclBindRequest {
    PCSIM_IS(text) char name[HAL_ACL_NAME_SIZE]; /* 0 */
    uint8_t reserved32[4];
    PCSIM_IS(vlan) uint32_t vlan;  /* 36 */
    HalPortInstance port;          /* 40 */
    uint8_t key;                   /* 44: the HAL's; part of the instance */
    PCSIM_IS(number) uint8_t slot; /* 45: 0 or 1 */
    uint8_t reserved46[2];
    uint32_t index; /* 48: of a dynamic rule; printed alone */
} HalAclBindRequest;

typedef struct HalAclCounterEntry {
    PCSIM_IS(out) uint8_t value[16]; /* 0: written by a read */
    uint16_t counter;                /* 16: number of the counter to clear, from 1; 0 for all */
    uint8_t reserved18[34];
} HalAclCounterEntry;

/* Get and clear counters. */
typedef struct HalAclCounterRequest {
    PCSIM_IS(text) char name[HAL_ACL_NAME_SIZE]; /* 0 */
    uint8_t reserved32[4];
    PCSIM_IS(vlan) uint32_t vlan; /* 36 */
    HalPortInstance port;         /* 40 */
    uint8_t reserved44[4];
    uint8_t key;                   /* 48 */
    PCSIM_IS(number) uint8_t slot; /* 49 */
    uint8_t reserved50[2];
    uint16_t entryCount; /* 52 */
    uint8_t reserved54[2];
    PCSIM_IS(count entryCount) HalAclCounterEntry entries[]; /* 56 */
} HalAclCounterRequest;

/* Stores a list and takes its rules over; a name that is stored already keeps its first list.
 * Always 0. Live. */
typedef int32_t HalIPv4AclAddFn(const HalAclListRequest* request);

/* Deletes a list, or prints the deletion of a dynamic rule. Instances stay bound to the deleted
 * list until they are unbound or bound to another. Always 0. Live. */
typedef int32_t HalIPv4AclDelFn(const HalAclDeleteRequest* request);

/* Prints a rule array as a difference pass would load it, and frees it. Always 0. Accepted and
 * ignored. */
typedef int32_t HalIPv4AclRefreshDiffFn(const HalAclListRequest* request);

/* Gives a stored list new rules, prints them, and resizes and zeroes the counters of its bindings.
 * An unknown name leaves the rules with the caller. Always 0. Live. */
typedef int32_t HalIPv4AclRefreshFn(const HalAclListRequest* request);

/* Binds a list to an instance in 'slot'; a slot that is bound already is bound anew.
 * 0; -1 when the list is unknown, the slot is neither 0 nor 1, or memory runs out. Live. */
typedef int32_t HalIPv4AclConfigFn(const HalAclBindRequest* request);

/* Unbinds whatever list the instance has in 'slot'; the name only tells a dynamic rule. Always 0.
 * Live. */
typedef int32_t HalIPv4AclUnconfigFn(const HalAclBindRequest* request);

/* Writes 0 to the value of every entry for the dynamic rules (letter case does not matter),
 * nothing for any other list. Always 0. Constant. */
typedef int32_t HalIPv4AclGetCounterFn(HalAclCounterRequest* request);

/* Zeroes the counters that the entries number, in the block of the instance's 'slot'. Always 0.
 * Live. */
typedef int32_t HalIPv4AclClearCounterFn(const HalAclCounterRequest* request);

/* pcSimIPv4AclModify, pcSimCardIPv4AclSyncBegin and pcSimCardIPv4AclSyncEnd are HalStubFn. */

/* A stored list, and an instance that lists are bound to: the library's, never looked into. */
typedef struct HalAclList HalAclList;
typedef struct HalAclInstance HalAclInstance;

/* Binds 'instance' to 'list' in 'slot' with zeroed counters, as a config does once it has found
 * both: the slot leaves the list it was bound to; bound to this one already, it only gets fresh
 * counters. 0; -1 when the slot is neither 0 nor 1 or there is no memory for the counters, and then
 * nothing has changed. Live. */
typedef int32_t HalAclAttachInstanceFn(HalAclList* list, PCSIM_IS(number) uint32_t slot,
                                       HalAclInstance* instance);

/* Reverses it; the instance itself stays. Nothing happens when the slot is not bound to 'list'. A
 * deleted list goes with its last binding. Always 0. Live. */
typedef int32_t HalAclUnAttachInstanceFn(HalAclList* list, PCSIM_IS(number) uint32_t slot,
                                         HalAclInstance* instance);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalIPv4AclAddFn, pcSimIPv4AclAdd);
PCSIM_OPERATION(HalIPv4AclDelFn, pcSimIPv4AclDel);
PCSIM_OPERATION(HalIPv4AclRefreshDiffFn, pcSimIPv4AclRefreshDiff);
PCSIM_OPERATION(HalIPv4AclRefreshFn, pcSimIPv4AclRefresh);
PCSIM_OPERATION(HalIPv4AclConfigFn, pcSimIPv4AclConfig);
PCSIM_OPERATION(HalIPv4AclUnconfigFn, pcSimIPv4AclUnconfig);
PCSIM_OPERATION(HalIPv4AclGetCounterFn, pcSimIPv4AclGetCounter);
PCSIM_OPERATION(HalIPv4AclClearCounterFn, pcSimIPv4AclClearCounter);
PCSIM_OPERATION(HalStubFn, pcSimIPv4AclModify);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv4AclSyncBegin);
PCSIM_OPERATION(HalStubFn, pcSimCardIPv4AclSyncEnd);
PCSIM_OPERATION(HalAclAttachInstanceFn, aclAttachInstance);
PCSIM_OPERATION(HalAclUnAttachInstanceFn, aclUnAttachInstance);

PCSIM_END_DECLS

#endif
