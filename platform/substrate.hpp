// Method replacement.
#pragma once

#include "platform/abi.hpp"

namespace hushlane::platform {

// The host's class of that name, or null. Asked afresh at every call.
inline Class lookUpClass(const char* name) noexcept { return objc_getClass(name); }

// Makes `replacement` the class's implementation of the selector, after it has written the one in
// force before into `slot`. Does nothing for a null class or a method that the class lacks.
inline void replaceMethod(Class type, const char* selector, IMP replacement, IMP& slot) noexcept {
  MSHookMessageEx(type, sel_registerName(selector), replacement, &slot);
}

}  // namespace hushlane::platform
