/* Where a dump goes. With a null sink the same lines go to standard output.
 *
 * Thread: the one that called the dump, before the dump returns. */
#ifndef PCSIM_DUMP_SINK_H
#define PCSIM_DUMP_SINK_H

#include "pcsim/base.h"

/* Receives one piece of a dump, usually a line with its newline. 'format' and its arguments are
 * valid during the call alone. The result is ignored. Callback. */
typedef int HalDumpPrintFn(uint32_t context, PCSIM_IS(format) const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/* Owned by the caller of the dump, read during the dump alone. */
typedef struct pcSimDumpSink {
    uint32_t context;      /* 0: handed to 'print' unchanged */
    HalDumpPrintFn* print; /* 4 */
} pcSimDumpSink;

#endif
