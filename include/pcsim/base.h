/* Linkage and types shared by all interface headers.
 *
 * The interface is the i386 System V one: records are little-endian with 32-bit words, words that
 * hold pointers are declared as typed pointers, and 64-bit counters are aligned to 4 bytes. On a
 * 64-bit machine the same declarations compile, but every pointer word is 64 bits wide and the
 * offsets given in the comments do not hold.
 *
 * Thread: that of the table or header that uses a type of this one. */
#ifndef PCSIM_BASE_H
#define PCSIM_BASE_H

#include <stdint.h>

/* Contracts. The comment at the type of an operation, or above a group of types, says what it does,
 * and ends in where its values come from or what its effect falls on:
 *
 *   Live.                   what is outside the library: the PC's interfaces and clock, the
 *                           environment, or what the HAL itself has programmed
 *   Simulated.              made up, and moving with calls or with the number asked for
 *   Constant.               the same whenever it is asked for
 *   Accepted and ignored.   nothing, with success; a trace or a printed line may tell of the call
 *   Callback.               a function that is handed over to be called; the tag of what it does is
 *                           its owner's
 *
 * What a tag doesn't hold for follows it: "Constant but for the time stamps." Who calls, from which
 * thread and when, is said by "Thread:" in the comment that opens a header, and again behind the
 * tag of an operation that differs. */

#ifdef __cplusplus
#define PCSIM_BEGIN_DECLS extern "C" {
#define PCSIM_END_DECLS }
#else
#define PCSIM_BEGIN_DECLS
#define PCSIM_END_DECLS
#endif

/* An exported operation, declared under its own name with the type that a table word for it has. In
 * C++ it also says that it throws nothing, which a word leaves open: a HAL may fill a table with
 * functions of its own. PCSIM_API is what the library's own build marks its exports with. */
#ifndef PCSIM_API
#define PCSIM_API
#endif
#if defined __cplusplus && __cplusplus >= 201703L
extern "C++" {
template <typename Operation>
struct PcsimNoexcept;
template <typename Result, typename... Parameters>
struct PcsimNoexcept<Result(Parameters...)> {
    typedef Result Type(Parameters...) noexcept;
};
template <typename Result, typename... Parameters>
struct PcsimNoexcept<Result(Parameters..., ...)> {
    typedef Result Type(Parameters..., ...) noexcept;
};
}
#define PCSIM_OPERATION(type, name) PCSIM_API PcsimNoexcept<type>::Type name
#else
#define PCSIM_OPERATION(type, name) PCSIM_API type name
#endif

/* A 64-bit counter at the 4-byte alignment that i386 gives it inside records. */
typedef uint64_t HalCounter64 __attribute__((aligned(4)));

/* An operation that is accepted and ignored: nothing is read or written, the result is 0. It can be
 * called with whatever arguments the HAL has for it (cdecl: the caller removes them). C has such a
 * type from C23 on; until then it is one without a prototype, which C++ never had. Accepted and
 * ignored. */
#if defined __cplusplus || (defined __STDC_VERSION__ && __STDC_VERSION__ > 201710L)
typedef int32_t HalStubFn(...);
#else
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstrict-prototypes"
typedef int32_t HalStubFn();
#pragma GCC diagnostic pop
#endif

#endif
