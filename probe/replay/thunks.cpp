// Equal pieces of code in a row, each of which says its number to the same handler, on a stack that
// is aligned for it: the platform's need not be.
#include "probe/replay/thunks.h"

namespace pcsim::probe {
namespace {

ThunkHandler handlerOfAll;

}  // namespace

extern "C" __attribute__((visibility("hidden"), used)) uint64_t pcsimReplayCalled(
    uint32_t number, uint32_t* arguments) {
    return handlerOfAll(number, arguments);
}

extern "C" __attribute__((visibility("hidden"))) const char pcsimReplayThunks[];

// 16 bytes for each of kThunks.
asm(R"(
    .text
    .balign 16
    .hidden pcsimReplayThunks
    .globl pcsimReplayThunks
pcsimReplayThunks:
    .set number, 0
    .rept 1024
    .balign 16
    pushl $number
    jmp pcsimReplayCommon
    .set number, number + 1
    .endr
    .balign 16
pcsimReplayCommon:
    pushl %ebp
    movl %esp, %ebp
    andl $-16, %esp
    subl $8, %esp
    leal 12(%ebp), %eax
    pushl %eax
    pushl 4(%ebp)
    call pcsimReplayCalled
    leave
    leal 4(%esp), %esp
    ret
)");

void* thunkCode(uint32_t number) {
    return const_cast<char*>(pcsimReplayThunks + number * 16);
}

void setThunkHandler(ThunkHandler handler) {
    handlerOfAll = handler;
}

}  // namespace pcsim::probe
