// Where the lines of a dump go: through the caller's sink, to standard output when it is null.
//
// Macros, so that the compiler checks each format against its arguments.
#ifndef PCSIM_BASE_DUMP_H
#define PCSIM_BASE_DUMP_H

#include <stdio.h>

#include "pcsim/dump_sink.h"

// A piece of a dump that has something filled in: a format and its arguments, newline included.
#define DUMP_PRINT(sink, ...)                                               \
    do {                                                                    \
        if ((sink) != nullptr)                                              \
            static_cast<void>((sink)->print((sink)->context, __VA_ARGS__)); \
        else                                                                \
            static_cast<void>(printf(__VA_ARGS__));                         \
    } while (false)

// A fixed line, a literal without its newline.
#define DUMP_LINE(sink, text)                                             \
    do {                                                                  \
        if ((sink) != nullptr)                                            \
            static_cast<void>((sink)->print((sink)->context, text "\n")); \
        else                                                              \
            static_cast<void>(puts(text));                                \
    } while (false)

#endif
