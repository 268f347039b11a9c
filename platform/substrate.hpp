// Method replacement.
#pragma once

#include "platform/abi.hpp"

namespace hushlane::platform {

// The implementation that a method had before it was replaced: `Original<BOOL(BBServer*, NSDate*)>`
// for a method of BBServer with one argument. Empty until Substrate fills it, before the
// replacement can first run; called with exactly what the replacement was given. Any thread.
template <class Method>
class Original;
template <class R, class Receiver, class... Args>
class Original<R(Receiver, Args...)> {
 public:
  R operator()(Receiver receiver, SEL selector, Args... args) const {
    return reinterpret_cast<R (*)(Receiver, SEL, Args...)>(implementation_)(receiver, selector,
                                                                            args...);
  }

 private:
  friend struct MethodReplacement;

  IMP implementation_ = nullptr;
};

// A row of a hook table. Only a replacement and a slot of one type make one.
struct MethodReplacement {
  template <class R, class Receiver, class... Args>
  MethodReplacement(const char* type, const char* name, R (*method)(Receiver, SEL, Args...),
                    Original<R(Receiver, Args...)>& slot) noexcept
      : className(type),
        selector(name),
        replacement(reinterpret_cast<IMP>(method)),
        original(&slot.implementation_) {}

  const char* className;
  const char* selector;
  IMP replacement;
  IMP* original;
};

// The host's class of that name, or null. Asked afresh at every call.
inline Class lookUpClass(const char* name) noexcept { return objc_getClass(name); }

// Puts the replacement into the class, which is the one that the row names. Does nothing for a null
// class or a method that the class lacks.
inline void replaceMethod(Class type, const MethodReplacement& row) noexcept {
  MSHookMessageEx(type, sel_registerName(row.selector), row.replacement, row.original);
}

}  // namespace hushlane::platform
