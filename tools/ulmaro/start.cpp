// Where the program starts, in place of the C library's start files, and with a landing pad: the kernel or the dynamic
// linker jumps here with the arguments on the stack and, in a register, what to call at the end. Constructors are run
// by the C library itself since glibc 2.34.

#if defined(__x86_64__)
asm(R"(
    .text
    .globl _start
    .type _start, @function
_start:
    .cfi_startproc
    .cfi_undefined rip
    endbr64
    xor %ebp, %ebp
    mov %rdx, %r9
    mov (%rsp), %rsi
    lea 8(%rsp), %rdx
    and $-16, %rsp
    push %rax
    push %rsp
    xor %r8d, %r8d
    xor %ecx, %ecx
    lea main(%rip), %rdi
    call *__libc_start_main@GOTPCREL(%rip)
    hlt
    .cfi_endproc
    .size _start, . - _start
)");
#elif defined(__aarch64__)
asm(R"(
    .text
    .globl _start
    .type _start, %function
_start:
    .cfi_startproc
    .cfi_undefined x30
    hint 38 // bti jc
    mov x29, 0
    mov x30, 0
    mov x5, x0
    ldr x1, [sp]
    add x2, sp, 8
    mov x6, sp
    adrp x0, main
    add x0, x0, :lo12:main
    mov x3, 0
    mov x4, 0
    bl __libc_start_main
    brk 1
    .cfi_endproc
    .size _start, . - _start
)");
#endif

// Names the program where destructors are registered.
// NOLINTNEXTLINE(bugprone-reserved-identifier): compilers refer to it
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;
void* __dso_handle = nullptr;  // NOLINT(bugprone-reserved-identifier)
