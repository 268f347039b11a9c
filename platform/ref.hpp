// Owning handle for a platform object.
//
// A handle is made in two ways only. `adopt` takes over a reference that the caller already has:
// the result of alloc, new, copy, Create or Copy. `retain` adds a reference to anything else. A
// null handle is valid everywhere. A raw pointer, by contrast, never owns: it is good while some
// owner, or the surrounding autorelease scope, keeps the object.
//
// A handle belongs to one thread at a time; the object that it holds may be shared.
#pragma once

#include "platform/abi.hpp"

namespace hushlane::platform {

template <class T>
constexpr T&& move(T& value) noexcept {
  return static_cast<T&&>(value);
}

template <class T>
class [[nodiscard]] Ref {
 public:
  constexpr Ref() noexcept = default;
  Ref(const Ref& other) noexcept : object_(other.object_) { objc_retain(object_); }
  Ref(Ref&& other) noexcept : object_(other.leak()) {}
  template <class U>
  requires __is_base_of(T, U) Ref(Ref<U> other) noexcept : object_(other.leak()) {}
  Ref& operator=(Ref other) noexcept {
    T* const previous = object_;
    object_ = other.object_;
    other.object_ = previous;
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) objc_release(object_);
  }

  T* get() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // Gives up ownership: the reference is the caller's from here on.
  [[nodiscard]] T* leak() noexcept {
    T* const object = object_;
    object_ = nullptr;
    return object;
  }

 private:
  struct Adopted {
    T* object;
  };
  constexpr explicit Ref(Adopted adopted) noexcept : object_(adopted.object) {}

  template <class U>
  friend Ref<U> adopt(U* object) noexcept;

  T* object_ = nullptr;
};

template <class T>
[[nodiscard]] Ref<T> adopt(T* object) noexcept {
  return Ref<T>(typename Ref<T>::Adopted{object});
}

template <class T>
[[nodiscard]] Ref<T> retain(T* object) noexcept {
  objc_retain(object);
  return adopt(object);
}

// Hands an owned object to the current autorelease scope, as a function does with its result.
template <class T>
T* autorelease(Ref<T> object) noexcept {
  T* const handedBack = object.leak();
  objc_autorelease(handedBack);
  return handedBack;
}

}  // namespace hushlane::platform
