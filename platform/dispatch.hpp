// Counting semaphores of libdispatch.
#pragma once

#include "platform/ref.hpp"

namespace hushlane::platform {

using Semaphore = dispatch_semaphore_s;

// A semaphore with count 0; null when the platform can't make one.
inline Ref<Semaphore> makeSemaphore() noexcept { return adopt(dispatch_semaphore_create(0)); }

// Waits without a time limit.
inline void wait(Semaphore* semaphore) noexcept {
  dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER);
}

inline void signal(Semaphore* semaphore) noexcept { dispatch_semaphore_signal(semaphore); }

}  // namespace hushlane::platform
