// The code of the stubs for amd64: six arguments are in registers, more on the stack. Numbers with
// a fraction, which would be in registers of their own, cross the boundary nowhere.
#ifdef __x86_64__

// The pool, and where each stub goes from there: r11 is its record.
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
    .long pcsimProbeStubRecords + number * 48 - .
    leaq pcsimProbeStubRecords + number * 48(%rip), %r11
    jmp *8(%r11)
    .balign 32
    .set number, number + 1
    .endr
    .cfi_endproc
    .size pcsimProbeStubCode, . - pcsimProbeStubCode

# Counts the call, or takes the detour.
.macro arrive
    cmpl $0, 32(%r11)
    jne pcsimProbeLongWay
    movq 24(%r11), %r10
    cmpl $0, (%r10)
    jne pcsimProbeLongWay
    movq 16(%r11), %r10
    lock incq (%r10)
.endm

# Calls the target with 'words' words: those in registers are where they belong.
.macro pass words
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register rbp
    pushq %r11
    .if \words != 7
    subq $8, %rsp
    .endif
    .if \words > 7
    pushq 24(%rbp)
    .endif
    .if \words > 6
    pushq 16(%rbp)
    .endif
    call *(%r11)
    movq -8(%rbp), %r11
    leave
    .cfi_def_cfa rsp, 8
    .cfi_restore rbp
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
    testq %rax, %rax
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
    jmp *(%r11)
    .cfi_endproc

pcsimProbeFailed:
    .cfi_startproc
    movq 16(%r11), %r11
    lock incq 8(%r11)
    ret
    .cfi_endproc

pcsimProbeNothing:
    .cfi_startproc
    movq 16(%r11), %r11
    lock incq 16(%r11)
    ret
    .cfi_endproc

# Puts the arguments in a row: those in registers, then as many words of the caller's stack as the
# longest call has.
    .hidden pcsimProbeDetour
pcsimProbeLongWay:
    .cfi_startproc
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register rbp
    subq $128, %rsp
    movq %rdi, (%rsp)
    movq %rsi, 8(%rsp)
    movq %rdx, 16(%rsp)
    movq %rcx, 24(%rsp)
    movq %r8, 32(%rsp)
    movq %r9, 40(%rsp)
    .set at, 0
    .rept 10
    movq 16 + at(%rbp), %rax
    movq %rax, 48 + at(%rsp)
    .set at, at + 8
    .endr
    movq %r11, %rdi
    movq %rsp, %rsi
    call pcsimProbeDetour
    leave
    .cfi_def_cfa rsp, 8
    .cfi_restore rbp
    ret
    .cfi_endproc

.macro load number register
    cmpl $\number, %ebx
    jbe 3f
    movq \number * 8(%r10), \register
.endm

# Reads no more words than there are.
    .hidden pcsimProbeInvoke
    .globl pcsimProbeInvoke
    .type pcsimProbeInvoke, @function
pcsimProbeInvoke:
    .cfi_startproc
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register rbp
    pushq %rbx
    .cfi_offset rbx, -24
    subq $8, %rsp
    movq %rdi, %r11
    movq %rsi, %r10
    movl %edx, %ebx
    movl %edx, %eax
    subl $6, %eax
    jbe 2f
    testl $1, %eax
    je 1f
    subq $8, %rsp
1:  pushq 40(%r10, %rax, 8)
    decl %eax
    jnz 1b
2:  load 0 %rdi
    load 1 %rsi
    load 2 %rdx
    load 3 %rcx
    load 4 %r8
    load 5 %r9
3:  xorl %eax, %eax
    call *%r11
    leaq -8(%rbp), %rsp
    popq %rbx
    popq %rbp
    .cfi_def_cfa rsp, 8
    .cfi_restore rbp
    .cfi_restore rbx
    ret
    .cfi_endproc
)");

#endif
