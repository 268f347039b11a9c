#include "platform/runtime.hpp"

namespace hushlane::platform {

Ref<NSString> makeString(const char* utf8) {
  const id allocated = send<id>(classNamed<"NSString">(), selector<"alloc">());
  return adopt(send<NSString*>(allocated, selector<"initWithUTF8String:">(), utf8));
}

NSString* keepFirst(NSString*& known, Ref<NSString> candidate) noexcept {
  NSString* first = nullptr;
  const bool won = __atomic_compare_exchange_n(&known, &first, candidate.get(), false,
                                               __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
  return won ? candidate.leak() : first;
}

}  // namespace hushlane::platform
