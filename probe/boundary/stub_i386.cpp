// The code of the stubs for i386: arguments are on the stack.
#ifdef __i386__

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

#endif
