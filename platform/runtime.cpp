#include "platform/runtime.hpp"

namespace hushlane::platform {

SEL registerSelector(SEL& known, const char* name) noexcept {
  const SEL registered = sel_registerName(name);
  __atomic_store_n(&known, registered, __ATOMIC_RELEASE);
  return registered;
}

Class findClass(Class& known, const char* name) noexcept {
  const Class found = objc_getClass(name);
  __atomic_store_n(&known, found, __ATOMIC_RELEASE);
  return found;
}

// Of two threads that make the same constant, the later one takes the other's.
NSString* makeConstant(NSString*& known, const char* utf8) {
  const id allocated = send<"alloc", id()>(classNamed<"NSString">());
  Ref<NSString> made = adopt(send<"initWithUTF8String:", NSString*(const char*)>(allocated, utf8));
  NSString* first = nullptr;
  const bool won = __atomic_compare_exchange_n(&known, &first, made.get(), false, __ATOMIC_ACQ_REL,
                                               __ATOMIC_ACQUIRE);
  return won ? made.leak() : first;
}

}  // namespace hushlane::platform
