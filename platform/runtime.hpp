// Messages, classes, selectors and constant strings of the Objective-C runtime, without a compiler
// that knows them.
//
// Only `platform/` sends messages; the rules call functions that bear the operation's name. All
// of this may be used on any thread.
#pragma once

#include "platform/abi.hpp"
#include "platform/ref.hpp"

namespace hushlane::platform {

// A literal as a template argument, so that each selector, class and constant string of the
// library has one cache of its own, filled on first use. No initializer has to run at load time.
template <size_t size>
struct Text {
  char characters[size];

  consteval Text(const char (&literal)[size]) : characters() {
    for (size_t i = 0; i < size; ++i) characters[i] = literal[i];
  }
};

// The characters at run time. Not the template argument itself: clang exports that object.
template <Text text>
inline constexpr Text storedText = text;

template <Text name>
inline constinit SEL knownSelector = nullptr;

template <Text name>
SEL selector() noexcept {
  SEL known = __atomic_load_n(&knownSelector<name>, __ATOMIC_ACQUIRE);
  if (known == nullptr) {
    known = sel_registerName(storedText<name>.characters);
    __atomic_store_n(&knownSelector<name>, known, __ATOMIC_RELEASE);
  }
  return known;
}

template <Text name>
inline constinit Class knownClass = nullptr;

// Null when the host has no such class; asked again at the next use.
template <Text name>
Class classNamed() noexcept {
  Class known = __atomic_load_n(&knownClass<name>, __ATOMIC_ACQUIRE);
  if (known == nullptr) {
    known = objc_getClass(storedText<name>.characters);
    __atomic_store_n(&knownClass<name>, known, __ATOMIC_RELEASE);
  }
  return known;
}

// Calls a method implementation with exactly these values.
template <class R, class... Args>
R call(IMP implementation, id receiver, SEL selector, Args... args) {
  return reinterpret_cast<R (*)(id, SEL, Args...)>(implementation)(receiver, selector, args...);
}

// Sends a message. Sent to nothing, it gives nothing.
template <class R, class... Args>
R send(id receiver, SEL selector, Args... args) {
  if (receiver == nullptr) return R();
  const IMP implementation = class_getMethodImplementation(object_getClass(receiver), selector);
  return call<R>(implementation, receiver, selector, args...);
}

// One message for many receivers in a row: the method is looked up anew only when the class is
// another than the one before. For a loop on one thread; a method that is replaced meanwhile goes
// unnoticed.
template <class R, class... Args>
class RepeatedMessage {
 public:
  explicit RepeatedMessage(SEL selector) noexcept : selector_(selector) {}

  R operator()(id receiver, Args... args) {
    if (receiver == nullptr) return R();
    const Class type = object_getClass(receiver);
    if (type != type_) [[unlikely]] {
      implementation_ = class_getMethodImplementation(type, selector_);
      type_ = type;
    }
    return call<R>(implementation_, receiver, selector_, args...);
  }

 private:
  SEL selector_;
  Class type_ = nullptr;
  IMP implementation_ = nullptr;
};

// The only way to ask whether a method exists: a look-up of a missing one is never null.
inline bool respondsTo(id object, SEL selector) noexcept {
  return object != nullptr && class_respondsToSelector(object_getClass(object), selector);
}

class AutoreleasePool {
 public:
  AutoreleasePool() noexcept : token_(objc_autoreleasePoolPush()) {}
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;
  ~AutoreleasePool() { objc_autoreleasePoolPop(token_); }

 private:
  void* token_;
};

// A new string of the UTF-8 text. Null when the host can't make one.
Ref<NSString> makeString(const char* utf8);

// Keeps `candidate` in `known` for ever, unless another thread was first; gives the one kept.
NSString* keepFirst(NSString*& known, Ref<NSString> candidate) noexcept;

template <Text text>
inline constinit NSString* knownString = nullptr;

// A string constant, made on first use and kept for the life of the process. Null when it can't be
// made; tried again at the next use.
template <Text text>
NSString* constantString() {
  NSString* const known = __atomic_load_n(&knownString<text>, __ATOMIC_ACQUIRE);
  return known != nullptr ? known
                          : keepFirst(knownString<text>, makeString(storedText<text>.characters));
}

}  // namespace hushlane::platform
