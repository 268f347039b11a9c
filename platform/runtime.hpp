// Messages, classes, selectors and constant strings of the Objective-C runtime,
// without a compiler that knows them.
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

[[gnu::cold]] SEL registerSelector(SEL& known, const char* name) noexcept;

template <Text name>
SEL selector() noexcept {
  const SEL known = __atomic_load_n(&knownSelector<name>, __ATOMIC_ACQUIRE);
  return known != nullptr ? known
                          : registerSelector(knownSelector<name>, storedText<name>.characters);
}

template <Text name>
inline constinit Class knownClass = nullptr;

[[gnu::cold]] Class findClass(Class& known, const char* name) noexcept;

// Null when the host has no such class; asked again at the next use.
template <Text name>
Class classNamed() noexcept {
  const Class known = __atomic_load_n(&knownClass<name>, __ATOMIC_ACQUIRE);
  return known != nullptr ? known : findClass(knownClass<name>, storedText<name>.characters);
}

// ---- Messages ----------------------------------------------------------------------------------

// Takes a method's type apart: its result and its own arguments, dots included.
template <class Method>
struct MessageType;
template <class R, class... Args>
struct MessageType<R(Args...)> {
  using Result = R;
  using Function = R (*)(id, SEL, Args...);
};
template <class R, class... Args>
struct MessageType<R(Args..., ...)> {
  using Result = R;
  using Function = R (*)(id, SEL, Args..., ...);
};

template <class Result>
constexpr IMP messageEntry() noexcept {
  static_assert(!(__is_class(Result) || __is_union(Result)) || __is_same(Result, NSRange),
                "no other aggregate is known to be returned as messageEntry says");
#if defined(__arm__)
  if constexpr (__is_same(Result, NSRange)) return &objc_msgSend_stret;
#endif
  return &objc_msgSend;
}

// Sends a message to a method of exactly this type: `send<"length", NSUInteger()>(string)`. Sent to
// nothing, it gives zero, except for an aggregate on 32-bit ARM. A variadic method must be given
// with its dots: on arm64 phones the arguments that stand for them go on the stack, and named ones
// do not.
template <Text name, class Method, class... Args>
auto send(id receiver, Args... args) {
  using Type = MessageType<Method>;
  return reinterpret_cast<typename Type::Function>(messageEntry<typename Type::Result>())(
      receiver, selector<name>(), args...);
}

template <Text name>
bool respondsTo(id object) {
  return send<"respondsToSelector:", BOOL(SEL)>(object, selector<name>());
}

// The same as `send` to an object that answers to the message, zero from any other.
template <Text name, class Method, class... Args>
auto sendIfAnswered(id receiver, Args... args) -> typename MessageType<Method>::Result {
  if (!respondsTo<name>(receiver)) return {};
  return send<name, Method>(receiver, args...);
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

// ---- Constant strings --------------------------------------------------------------------------

template <Text text>
inline constinit NSString* knownString = nullptr;

[[gnu::cold]] NSString* makeConstant(NSString*& known, const char* utf8);

// A string constant, made on first use and kept for the life of the process. Null when it can't be
// made; tried again at the next use.
template <Text text>
NSString* constantString() {
  NSString* const known = __atomic_load_n(&knownString<text>, __ATOMIC_ACQUIRE);
  return known != nullptr ? known : makeConstant(knownString<text>, storedText<text>.characters);
}

}  // namespace hushlane::platform
