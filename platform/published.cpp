#include "platform/published.hpp"

#include "platform/foundation.hpp"

namespace hushlane::platform {

id PublishedObject::retainCurrent() const noexcept {
  __atomic_fetch_add(&readers_, 1, __ATOMIC_SEQ_CST);
  const id object = objc_retain(__atomic_load_n(&current_, __ATOMIC_SEQ_CST));
  __atomic_fetch_sub(&readers_, 1, __ATOMIC_SEQ_CST);
  return object;
}

void PublishedObject::publishObject(Ref<objc_object> next) {
  const id replaced = __atomic_exchange_n(&current_, next.leak(), __ATOMIC_SEQ_CST);
  if (__atomic_load_n(&readers_, __ATOMIC_SEQ_CST) != 0) {
    retire(replaced);
    return;
  }
  objc_release(replaced);
  objc_release(retired_);
  retired_ = nullptr;
}

// An object that can't be put on the list is kept for ever: a leak is harmless, a reader that
// meets a freed object is not.
void PublishedObject::retire(id replaced) {
  if (retired_ == nullptr) retired_ = makeMutableArray().leak();
  if (retired_ == nullptr) return;
  addObject(retired_, replaced);
  objc_release(replaced);
}

}  // namespace hushlane::platform
