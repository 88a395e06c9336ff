// Looking a function up as the dynamic linker does for a reference of another object: in the scope
// of that object, which only the linker knows.
//
// dlsym(RTLD_DEFAULT) searches the scope of the object that it returns to. So it is made to return
// to code of the other object, which comes straight back: the end of any function there that
// returns, on i386 one that takes three words off the stack before.
#include <dlfcn.h>

#include "probe/boundary/crossing.h"

namespace pcsim::probe {

// Calls 'function' with three words so that it returns through 'gate'.
extern "C" __attribute__((visibility("hidden"))) void* pcsimProbeCallThrough(
    const void* gate, const void* function, Word first, const char* second, const char* third);

#ifdef __i386__
// The gate takes the words off the stack into registers that are saved here.
asm(R"(
    .text
    .hidden pcsimProbeCallThrough
    .globl pcsimProbeCallThrough
    .type pcsimProbeCallThrough, @function
pcsimProbeCallThrough:
    .cfi_startproc
    pushl %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    .cfi_def_cfa_offset 20
    movl 20(%esp), %eax
    movl 24(%esp), %edx
    movl 28(%esp), %ecx
    movl 32(%esp), %esi
    movl 36(%esp), %edi
    call 1f
    jmp 2f
# Entered with the way back on top of the stack: the gate finds it behind the words.
1:  pushl %edi
    pushl %esi
    pushl %ecx
    pushl %eax
    jmp *%edx
2:  popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    ret
    .cfi_endproc
)");
#else
asm(R"(
    .text
    .hidden pcsimProbeCallThrough
    .globl pcsimProbeCallThrough
    .type pcsimProbeCallThrough, @function
pcsimProbeCallThrough:
    .cfi_startproc
    movq %rdi, %rax
    movq %rsi, %r11
    movq %rdx, %rdi
    movq %rcx, %rsi
    movq %r8, %rdx
    leaq 1f(%rip), %rcx
    pushq %rcx
    .cfi_def_cfa_offset 16
    pushq %rax
    jmp *%r11
    .cfi_def_cfa_offset 8
1:  ret
    .cfi_endproc
)");
#endif

namespace {

constexpr uint8_t kReturn = 0xC3;

#ifdef __i386__
constexpr size_t kGateBytes = 4;
// pop, pop, pop, ret of registers that are not the stack's own.
bool isGate(const uint8_t* bytes) {
    for (int i = 0; i < 3; ++i)
        if (bytes[i] != 0x5B && bytes[i] != 0x5D && bytes[i] != 0x5E && bytes[i] != 0x5F)
            return false;
    return bytes[3] == kReturn;
}
#else
constexpr size_t kGateBytes = 1;
bool isGate(const uint8_t* bytes) {
    return bytes[0] == kReturn;
}
#endif

bool inSameObject(const void* a, const void* b) {
    Dl_info ofA{}, ofB{};
    return dladdr(a, &ofA) != 0 && dladdr(b, &ofB) != 0 && ofA.dli_fbase == ofB.dli_fbase;
}

}  // namespace

void* lookUpFrom(const Image& object, const char* name, const char* version) {
    const void* const gate = object.findCode(kGateBytes, isGate);
    const auto ask = [&](auto* function, const char* wanted) {
        constexpr Word kDefault = 0;
        return pcsimProbeCallThrough(gate, reinterpret_cast<const void*>(function), kDefault, name,
                                     wanted);
    };
    static_assert(RTLD_DEFAULT == nullptr);
    void* const first = gate == nullptr ? dlsym(RTLD_DEFAULT, name) : ask(&dlsym, nullptr);
    if (version == nullptr) return first;
    void* const versioned =
        gate == nullptr ? dlvsym(RTLD_DEFAULT, name, version) : ask(&dlvsym, version);
    // A definition without versions, of a program or a preloaded library, satisfies a reference to
    // any, but dlvsym passes it over.
    return versioned == nullptr || !inSameObject(first, versioned) ? first : versioned;
}

}  // namespace pcsim::probe
