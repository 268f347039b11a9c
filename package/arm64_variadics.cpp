// Bridges the two arm64 conventions for variadic functions, for the library of a phone in a process
// of Linux. On the phone the arguments that stand for the dots lie on the stack; Linux passes them
// in registers, after the named ones. None of the library's are floating-point numbers.
//
// The program's definitions come before those of the simulated phone, to which they hand on.
// https://developer.apple.com/documentation/xcode/writing-arm64-code-for-apple-platforms
#include <dlfcn.h>

extern "C" {

void* sel_registerName(const char* name);

void* formattingFunction;
void* loggingFunction;
void formatFromStack();

asm(R"(
  .global NSLog, formatFromStack
NSLog:
  ldp x1, x2, [sp]
  ldp x3, x4, [sp, 16]
  ldp x5, x6, [sp, 32]
  ldr x7, [sp, 48]
  adrp x16, loggingFunction
  ldr x16, [x16, :lo12:loggingFunction]
  br x16
formatFromStack:
  ldp x3, x4, [sp]
  ldp x5, x6, [sp, 16]
  ldr x7, [sp, 32]
  adrp x16, formattingFunction
  ldr x16, [x16, :lo12:formattingFunction]
  br x16
)");

void* class_getMethodImplementation(void* type, void* selector) {
  static auto* const next =
      reinterpret_cast<void* (*)(void*, void*)>(dlsym(RTLD_NEXT, "class_getMethodImplementation"));
  void* const found = next(type, selector);
  if (selector != sel_registerName("stringWithFormat:")) return found;
  formattingFunction = found;
  return reinterpret_cast<void*>(&formatFromStack);
}

[[gnu::constructor]] static void findLoggingFunction() {
  loggingFunction = dlsym(RTLD_NEXT, "NSLog");
}

}  // extern "C"
