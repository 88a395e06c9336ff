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

/* What C's types don't say of a parameter, a field, a result, a record or a typedef stands in front
 * of it in PCSIM_IS, for tools that decode calls; a compiler sees nothing of it. Several tags are
 * separated by commas. Those of a typedef hold for everything of that type, those of a pointer or
 * an array for what is behind it or in it. */
/* clang-format off */
/*   port, port key, slot, vlan, vlan instance, vr, ipv4, ipv6, mask, mac, text, flag, hex
 *                      what the number or the bytes stand for. An integer that is called 'slot', or
 *                      whose name ends in 'Slot', is a slot without saying so
 *   number             what its name says and no more: no slot
 *   address of NAME    an IPv4 or IPv6 address, by the family that the field NAME says
 *   format, arguments  a printf format; its arguments as a va_list (else they follow it)
 *   count NAME         as many elements (bytes behind a void pointer) as the parameter or field NAME
 *                      says; count NAME >> N: after a shift
 *   elements N         that many elements behind the pointer
 *   up to FIELD        what follows FIELD in the record behind the pointer is not looked at
 *   tail N             so many elements of the array that the record behind the pointer ends in are
 *                      looked at, whatever their count says
 *   at most N          a larger count is none
 *   chain NAME >> N    records one after the other, each as long as its own field NAME says
 *   when NAME V TYPE   a TYPE is behind the void pointer when the parameter NAME is V
 *   result bytes       as many bytes are written as the result says
 *   record size        the size of the whole record, in bytes
 *   out                written by the callee; what was there before is not read
 *   in                 read also where its record is an output
 *   ignored            neither read nor written
 *   null               a null pointer is taken, too; what the operation does then is in its contract
 *   by address         a pointer that is handed on without a look at what is behind it; of a
 *                      record, all pointers to one
 *   taken, given       from malloc: passes to the callee with the call, to the caller with it
 *   kept               the callee keeps the pointer after the call (of an output: the caller)
 *   new                what is handed out is none of those handed out before
 *   varies             may rightly differ from run to run: times, random choices
 *   carried            reserved bytes that are copied along
 *   platform, host     made and freed by the library, by the HAL, who knows each by its address */
/* clang-format on */
#ifdef PCSIM_DESCRIBE
#define PCSIM_IS(...) __attribute__((annotate(#__VA_ARGS__)))
#else
#define PCSIM_IS(...)
#endif

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
#ifdef PCSIM_DESCRIBE
#define PCSIM_API PCSIM_IS(exported)
#endif
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

/* A port instance is the name of a port: bits 24 to 31 are the type, 16 to 23 the slot, 0 to 15 the
 * port. */
typedef PCSIM_IS(port) uint32_t HalPortInstance;

/* The HAL's number of a VLAN's record, not the VLAN id. */
typedef PCSIM_IS(vlan instance) uint32_t HalVlanInstance;

typedef PCSIM_IS(vr) uint32_t HalVirtualRouter;

/* In network byte order. */
typedef PCSIM_IS(ipv4) uint32_t HalIpv4Address;
typedef PCSIM_IS(mask) uint32_t HalIpv4Mask;

/* Bit n set: unit n is present. */
typedef PCSIM_IS(hex) uint32_t HalPresenceMask;

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
