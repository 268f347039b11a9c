// Bridges the two arm64 conventions for variadic functions, for the library of a phone in a process
// of Linux. On the phone the arguments that stand for the dots lie on the stack; Linux passes them
// in registers, after the named ones. None of the library's are floating-point numbers.
//
// The program's definitions come before those of the simulated phone, to which they hand on. Of the
// messages one is variadic.
// https://developer.apple.com/documentation/xcode/writing-arm64-code-for-apple-platforms
#include <dlfcn.h>

extern "C" {

void* sel_registerName(const char* name);

void* formattingSelector;
void* messageFunction;
void* loggingFunction;

asm(R"(
  .global NSLog, objc_msgSend
NSLog:
  ldp x1, x2, [sp]
  ldp x3, x4, [sp, 16]
  ldp x5, x6, [sp, 32]
  ldr x7, [sp, 48]
  adrp x16, loggingFunction
  ldr x16, [x16, :lo12:loggingFunction]
  br x16
objc_msgSend:
  adrp x16, formattingSelector
  ldr x16, [x16, :lo12:formattingSelector]
  cmp x1, x16
  b.ne 1f
  ldp x3, x4, [sp]
  ldp x5, x6, [sp, 16]
  ldr x7, [sp, 32]
1:
  adrp x16, messageFunction
  ldr x16, [x16, :lo12:messageFunction]
  br x16
)");

[[gnu::constructor]] static void findFunctions() {
  formattingSelector = sel_registerName("stringWithFormat:");
  messageFunction = dlsym(RTLD_NEXT, "objc_msgSend");
  loggingFunction = dlsym(RTLD_NEXT, "NSLog");
}

}  // extern "C"
