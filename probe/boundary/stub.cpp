// The code of the stubs, and telling them from other code.
#include "probe/boundary/stub.h"

#include <cstddef>
#include <cstring>

namespace pcsim::probe {

namespace {

constexpr uint32_t kCodeBytes = 32;  // of one stub, mark and padding included
constexpr uint32_t kMarkBytes = 16;  // the mark, and behind it the way to the record
constexpr char kMark[] = "pcsim stub\0\1";
constexpr uint32_t kMostWords = 8;  // that a stub copies

uint32_t never;

}  // namespace

#define HIDDEN __attribute__((visibility("hidden")))
extern "C" {
HIDDEN constinit StubRecord pcsimProbeStubRecords[kStubs] = {};
extern HIDDEN const char pcsimProbeStubCode[];
HIDDEN void pcsimProbeJump();
#define BODIES(words) HIDDEN void pcsimProbeCode##words(), pcsimProbeRecord##words();
BODIES(0)
BODIES(1)
BODIES(2)
BODIES(3)
BODIES(4)
BODIES(5)
BODIES(6)
BODIES(7)
BODIES(8)
#undef BODIES
}

static_assert(offsetof(StubRecord, target) == 0 && offsetof(StubRecord, body) == 4 &&
              offsetof(StubRecord, counts) == 8 && offsetof(StubRecord, poll) == 12 &&
              offsetof(StubRecord, detours) == 16 && sizeof(StubRecord) == 24);
static_assert(offsetof(Counts, calls) == 0 && offsetof(Counts, failures) == 8 &&
              offsetof(Counts, nulls) == 16);
static_assert(kStubs == 1024 && kCodeBytes == 32 && sizeof kMark - 1 == 12);

// The pool, and where each stub goes from there: ecx is its record. Entered with the caller's
// return address on top of the stack, the arguments above it.
asm(R"(
    .text
    .balign 32
    .hidden pcsimProbeStubCode
    .globl pcsimProbeStubCode
    .type pcsimProbeStubCode, @function
pcsimProbeStubCode:
    .cfi_startproc
    .set number, 0
    .rept 1024
    .ascii "pcsim stub\0\1"
    .long pcsimProbeStubRecords + number * 24 - .
    call pcsimProbeHere
1:  leal pcsimProbeStubRecords + number * 24 - 1b(%ecx), %ecx
    jmp *4(%ecx)
    .balign 32
    .set number, number + 1
    .endr
    .cfi_endproc
    .size pcsimProbeStubCode, . - pcsimProbeStubCode

pcsimProbeHere:
    .cfi_startproc
    movl (%esp), %ecx
    ret
    .cfi_endproc

# Counts the call, or takes the detour.
.macro arrive
    cmpl $0, 16(%ecx)
    jne pcsimProbeLongWay
    movl 12(%ecx), %eax
    cmpl $0, (%eax)
    jne pcsimProbeLongWay
    movl 8(%ecx), %eax
    lock addl $1, (%eax)
    jnc 8f
    lock addl $1, 4(%eax)
8:
.endm

# Calls the target with 'words' words. The stack stays as far from the next multiple of 16 as the
# caller has it.
.macro pass words
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register ebp
    pushl %ecx
    .if (1 - \words) & 3
    subl $(((1 - \words) & 3) * 4), %esp
    .endif
    .set left, \words
    .rept \words
    pushl 4 + left * 4(%ebp)
    .set left, left - 1
    .endr
    call *(%ecx)
    movl -4(%ebp), %ecx
    leave
    .cfi_def_cfa esp, 4
    .cfi_restore ebp
.endm

.macro bodies words
    .balign 16
    .hidden pcsimProbeCode\words
    .globl pcsimProbeCode\words
    .type pcsimProbeCode\words, @function
pcsimProbeCode\words:
    .cfi_startproc
    arrive
    pass \words
    testl %eax, %eax
    js pcsimProbeFailed
    ret
    .cfi_endproc
    .balign 16
    .hidden pcsimProbeRecord\words
    .globl pcsimProbeRecord\words
    .type pcsimProbeRecord\words, @function
pcsimProbeRecord\words:
    .cfi_startproc
    arrive
    pass \words
    testl %eax, %eax
    je pcsimProbeNothing
    ret
    .cfi_endproc
.endm

    bodies 0
    bodies 1
    bodies 2
    bodies 3
    bodies 4
    bodies 5
    bodies 6
    bodies 7
    bodies 8

    .balign 16
    .hidden pcsimProbeJump
    .globl pcsimProbeJump
    .type pcsimProbeJump, @function
pcsimProbeJump:
    .cfi_startproc
    arrive
    jmp *(%ecx)
    .cfi_endproc

pcsimProbeFailed:
    .cfi_startproc
    movl 8(%ecx), %ecx
    lock addl $1, 8(%ecx)
    jnc 1f
    lock addl $1, 12(%ecx)
1:  ret
    .cfi_endproc

pcsimProbeNothing:
    .cfi_startproc
    movl 8(%ecx), %ecx
    lock addl $1, 16(%ecx)
    jnc 1f
    lock addl $1, 20(%ecx)
1:  ret
    .cfi_endproc

    .hidden pcsimProbeDetour
pcsimProbeLongWay:
    .cfi_startproc
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register ebp
    leal 8(%ebp), %eax
    subl $8, %esp
    andl $-16, %esp
    subl $8, %esp
    pushl %eax
    pushl %ecx
    call pcsimProbeDetour
    leave
    .cfi_def_cfa esp, 4
    .cfi_restore ebp
    ret
    .cfi_endproc

    .hidden pcsimProbeInvoke
    .globl pcsimProbeInvoke
    .type pcsimProbeInvoke, @function
pcsimProbeInvoke:
    .cfi_startproc
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register ebp
    pushl %esi
    pushl %edi
    pushl %ebx
    .cfi_offset esi, -12
    .cfi_offset edi, -16
    .cfi_offset ebx, -20
    movl 12(%ebp), %esi
    movl 16(%ebp), %ecx
    leal 0(,%ecx,4), %eax
    subl %eax, %esp
    andl $-16, %esp
    movl %esp, %edi
    rep movsl
    movl 20(%ebp), %ebx
    call *8(%ebp)
    leal -12(%ebp), %esp
    popl %ebx
    popl %edi
    popl %esi
    popl %ebp
    .cfi_def_cfa esp, 4
    .cfi_restore ebp
    .cfi_restore esi
    .cfi_restore edi
    .cfi_restore ebx
    ret
    .cfi_endproc
)");

StubRecord& stubRecord(uint32_t number) {
    StubRecord& record = pcsimProbeStubRecords[number];
    if (record.poll == nullptr) record.poll = &never;
    return record;
}

void* stubCode(uint32_t number) {
    return const_cast<char*>(pcsimProbeStubCode + number * kCodeBytes + kMarkBytes);
}

bool answersCodes(const Function& function, Side side) {
    // The order of two nodes is no code.
    if (function.name == "HalTreeCompareFn") return false;
    const Type& result = *function.result;
    if (result.size != 4) return false;
    return result.kind == Kind::kSigned ||
           (result.kind == Kind::kUnsigned && side == Side::kPlatform);
}

bool answersRecords(const Function& function) {
    return function.result->kind == Kind::kPointer;
}

void (*bodyFor(const Function& function, Side side))() {
    static void (*const codes[])() = {pcsimProbeCode0, pcsimProbeCode1, pcsimProbeCode2,
                                      pcsimProbeCode3, pcsimProbeCode4, pcsimProbeCode5,
                                      pcsimProbeCode6, pcsimProbeCode7, pcsimProbeCode8};
    static void (*const records[])() = {pcsimProbeRecord0, pcsimProbeRecord1, pcsimProbeRecord2,
                                        pcsimProbeRecord3, pcsimProbeRecord4, pcsimProbeRecord5,
                                        pcsimProbeRecord6, pcsimProbeRecord7, pcsimProbeRecord8};
    const size_t words = function.parameters.size();
    if (function.variadic || function.stub || words > kMostWords) return pcsimProbeJump;
    if (answersCodes(function, side)) return codes[words];
    if (answersRecords(function)) return records[words];
    return pcsimProbeJump;
}

StubRecord* recordOf(const void* code) {
    const auto distance = reinterpret_cast<uintptr_t>(code) -
                          reinterpret_cast<uintptr_t>(pcsimProbeStubCode) - kMarkBytes;
    if (distance % kCodeBytes != 0 || distance / kCodeBytes >= kStubs) return nullptr;
    return &pcsimProbeStubRecords[distance / kCodeBytes];
}

void* targetOf(const void* code) {
    if (reinterpret_cast<uintptr_t>(code) % kCodeBytes != kMarkBytes) return nullptr;
    const char* const mark = static_cast<const char*>(code) - kMarkBytes;
    if (std::memcmp(mark, kMark, sizeof kMark - 1) != 0) return nullptr;
    int32_t way = 0;
    std::memcpy(&way, mark + sizeof kMark - 1, sizeof way);
    const auto* const record = reinterpret_cast<const StubRecord*>(mark + sizeof kMark - 1 + way);
    return record->target;
}

}  // namespace pcsim::probe
