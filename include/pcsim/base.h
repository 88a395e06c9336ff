/* Linkage and types shared by all interface headers.
 *
 * The interface is the i386 System V one: records are little-endian with 32-bit words, words that
 * hold pointers are declared as typed pointers, and 64-bit counters are aligned to 4 bytes. On a
 * 64-bit machine the same declarations compile, but every pointer word is 64 bits wide and the
 * offsets given in the comments do not hold. */
#ifndef PCSIM_BASE_H
#define PCSIM_BASE_H

#include <stdint.h>

#ifdef __cplusplus
#define PCSIM_BEGIN_DECLS extern "C" {
#define PCSIM_END_DECLS }
#else
#define PCSIM_BEGIN_DECLS
#define PCSIM_END_DECLS
#endif

/* A 64-bit counter at the 4-byte alignment that i386 gives it inside records. */
typedef uint64_t HalCounter64 __attribute__((aligned(4)));

/* An operation that the platform accepts and ignores: the HAL may pass any arguments (cdecl, the
 * caller removes them), nothing is read or written, the result is 0. */
typedef int32_t HalStubFn(void);

#endif
