// objc_msgSend: how the library sends messages. It gives zero for a null receiver; else it keeps
// all registers in which arguments may lie, asks for the method, and jumps there. The call frame
// information is right at every instruction, since to ask may raise.
//
// Here the call trace and the faults see the library's messages. The simulator's own go another
// way.
#include "simulator/context/call_trace.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/runtime/class_table.hpp"

namespace simulator {
namespace {

// As an initializer does that fails: it has taken over the object, and gives none back.
id failToInitialize(id allocated, SEL) {
  objc_release(allocated);
  return nullptr;
}

id giveNothing(id, SEL) { return nullptr; }

}  // namespace

// The method that a message of the library reaches. Raises where there is none.
extern "C" [[gnu::visibility("hidden"), gnu::used]] IMP methodForMessage(id receiver,
                                                                         SEL selector) {
  const Class type = classOf(receiver);
  traceCall("message", className(type), selector->name);
  if (messagesMayFail.load(std::memory_order_relaxed)) {
    const std::optional<Fault> fault = messageFault(selector->name);
    if (fault && failsNow(*fault)) {
      const bool initializes = selector->name.starts_with("init");
      return reinterpret_cast<IMP>(initializes ? &failToInitialize : &giveNothing);
    }
  }
  const IMP method = methodOf(type, selector);
  if (method == ClassTable::missing()) {
    reinterpret_cast<void (*)(id, SEL)>(method)(receiver, selector);
  }
  return method;
}

}  // namespace simulator

#if defined(__x86_64__)

asm(R"(
  .text
  .p2align 4
  .globl objc_msgSend
  .type objc_msgSend, @function
objc_msgSend:
  .cfi_startproc
  testq %rdi, %rdi
  je 1f
  pushq %rbp
  .cfi_def_cfa_offset 16
  .cfi_offset %rbp, -16
  movq %rsp, %rbp
  .cfi_def_cfa_register %rbp
  subq $192, %rsp
  movq %rdi, (%rsp)
  movq %rsi, 8(%rsp)
  movq %rdx, 16(%rsp)
  movq %rcx, 24(%rsp)
  movq %r8, 32(%rsp)
  movq %r9, 40(%rsp)
  movq %rax, 48(%rsp)
  movaps %xmm0, 64(%rsp)
  movaps %xmm1, 80(%rsp)
  movaps %xmm2, 96(%rsp)
  movaps %xmm3, 112(%rsp)
  movaps %xmm4, 128(%rsp)
  movaps %xmm5, 144(%rsp)
  movaps %xmm6, 160(%rsp)
  movaps %xmm7, 176(%rsp)
  call methodForMessage
  movq %rax, %r11
  movq (%rsp), %rdi
  movq 8(%rsp), %rsi
  movq 16(%rsp), %rdx
  movq 24(%rsp), %rcx
  movq 32(%rsp), %r8
  movq 40(%rsp), %r9
  movq 48(%rsp), %rax
  movaps 64(%rsp), %xmm0
  movaps 80(%rsp), %xmm1
  movaps 96(%rsp), %xmm2
  movaps 112(%rsp), %xmm3
  movaps 128(%rsp), %xmm4
  movaps 144(%rsp), %xmm5
  movaps 160(%rsp), %xmm6
  movaps 176(%rsp), %xmm7
  leave
  .cfi_def_cfa %rsp, 8
  .cfi_restore %rbp
  jmp *%r11
1:
  xorl %eax, %eax
  xorl %edx, %edx
  pxor %xmm0, %xmm0
  pxor %xmm1, %xmm1
  ret
  .cfi_endproc
  .size objc_msgSend, . - objc_msgSend
)");

#elif defined(__aarch64__)

asm(R"(
  .text
  .p2align 4
  .globl objc_msgSend
  .type objc_msgSend, %function
objc_msgSend:
  .cfi_startproc
  cbz x0, 1f
  stp x29, x30, [sp, -224]!
  .cfi_def_cfa_offset 224
  .cfi_offset x29, -224
  .cfi_offset x30, -216
  stp x0, x1, [sp, 16]
  stp x2, x3, [sp, 32]
  stp x4, x5, [sp, 48]
  stp x6, x7, [sp, 64]
  str x8, [sp, 80]
  stp q0, q1, [sp, 96]
  stp q2, q3, [sp, 128]
  stp q4, q5, [sp, 160]
  stp q6, q7, [sp, 192]
  bl methodForMessage
  mov x16, x0
  ldp x0, x1, [sp, 16]
  ldp x2, x3, [sp, 32]
  ldp x4, x5, [sp, 48]
  ldp x6, x7, [sp, 64]
  ldr x8, [sp, 80]
  ldp q0, q1, [sp, 96]
  ldp q2, q3, [sp, 128]
  ldp q4, q5, [sp, 160]
  ldp q6, q7, [sp, 192]
  ldp x29, x30, [sp], 224
  .cfi_def_cfa_offset 0
  .cfi_restore x29
  .cfi_restore x30
  br x16
1:
  mov x1, 0
  movi d0, 0
  movi d1, 0
  movi d2, 0
  movi d3, 0
  ret
  .cfi_endproc
  .size objc_msgSend, . - objc_msgSend
)");

#endif
