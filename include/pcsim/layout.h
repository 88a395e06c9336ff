/* Proves at compile time that a host's compiler lays out the interface as the library does:
 * including this is all. Every row of layout_rows.h becomes an assertion that states its number.
 *
 * The numbers are those of 32-bit words, and only there do they hold. A source that is compiled for
 * another word size too, and knows it, defines PCSIM_LAYOUT_ANY_WORD_SIZE before it includes this:
 * nothing is then asserted where a word is not 32 bits wide. */
#ifndef PCSIM_LAYOUT_H
#define PCSIM_LAYOUT_H

#include <stddef.h>

#include "pcsim/acl.h"
#include "pcsim/card.h"
#include "pcsim/card_slot.h"
#include "pcsim/device.h"
#include "pcsim/dump_sink.h"
#include "pcsim/ems.h"
#include "pcsim/env.h"
#include "pcsim/family.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"
#include "pcsim/l2.h"
#include "pcsim/l3.h"
#include "pcsim/mcast.h"
#include "pcsim/misc.h"
#include "pcsim/part_info.h"
#include "pcsim/port.h"
#include "pcsim/system.h"
#include "pcsim/trunk.h"

#if UINTPTR_MAX == 0xFFFFFFFFu

#ifdef __cplusplus
#define PCSIM_LAYOUT_ASSERT(condition, text) static_assert(condition, text);
#else
#define PCSIM_LAYOUT_ASSERT(condition, text) _Static_assert(condition, text);
#endif
#define PCSIM_LAYOUT_SIZE(record, bytes) \
    PCSIM_LAYOUT_ASSERT(sizeof(record) == (bytes), #record " is " #bytes " bytes long")
#define PCSIM_LAYOUT_FIELD(record, field, offset)                               \
    PCSIM_LAYOUT_ASSERT(offsetof(record, field) == (offset), #record "." #field \
                                                                     " lies "   \
                                                                     "at " #offset)
#define PCSIM_LAYOUT_WORD(record, field, word)                                    \
    PCSIM_LAYOUT_ASSERT(offsetof(record, field) == 4 * (word), #record "." #field \
                                                                       " is "     \
                                                                       "word " #word)

#include "pcsim/layout_rows.h"

#undef PCSIM_LAYOUT_WORD
#undef PCSIM_LAYOUT_FIELD
#undef PCSIM_LAYOUT_SIZE
#undef PCSIM_LAYOUT_ASSERT

#elif !defined PCSIM_LAYOUT_ANY_WORD_SIZE
#error "The interface has 32-bit words: compile for i386, or define PCSIM_LAYOUT_ANY_WORD_SIZE"
#endif

#endif
