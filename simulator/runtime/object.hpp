// The object runtime of the simulated phone: classes with single inheritance, class methods,
// selectors, messages, reference counts, autorelease pools, method replacement.
//
// Every function may be called on any thread. Classes and selectors live as long as the process.
//
// It is as strict as the real one, or a test would prove nothing. An unknown selector raises
// PlatformException. An over-release, and any use of a freed object while zombies are kept, stops
// the process with a message. Every live object is counted, by class.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/abi.hpp"
#include "simulator/context/fatal.hpp"
#include "simulator/runtime/exception.hpp"

struct objc_selector {
  std::string name;
};

namespace simulator {

// What every object begins with. `references` counts the owners; an immortal object (a class, a
// constant) is never counted.
struct Object : objc_object {
  static constexpr std::int32_t immortal = INT32_MIN;

  Class isa = nullptr;
  std::atomic<std::int32_t> references{1};
};

inline Object* header(id object) { return static_cast<Object*>(object); }
inline Class classOf(id object) { return header(object)->isa; }

// ---- Classes -----------------------------------------------------------------------------------

using Destroy = void (*)(Object*);

// Defines a class once for the life of the process, and its methods by chaining:
//
//   defineClass<Number>()
//       .classMethod("numberWithInt:", &numberWithInt)
//       .method("intValue", +[](Number* self, SEL) -> int { ... });
//
// A method is a plain function: receiver, selector, the method's own arguments. Instances are C++
// structs derived from Object; the class destroys them through T's destructor. `alloc` makes a
// default-constructed T; where T has no default constructor, the class defines its own `alloc`.
class ClassDefinition {
 public:
  ClassDefinition(const char* name, const char* superclass, Destroy destroy, IMP allocate);

  template <class Function>
  ClassDefinition& method(const char* selector, Function* function) {
    return add(type_, selector, reinterpret_cast<IMP>(function));
  }
  template <class Function>
  ClassDefinition& classMethod(const char* selector, Function* function) {
    return add(header(type_)->isa, selector, reinterpret_cast<IMP>(function));
  }

 private:
  ClassDefinition& add(Class type, const char* selector, IMP implementation);

  Class type_;
};

// NSObject, what every object answers to.
void defineObject();

// The class of that name, also while it is hidden from the library. Unknown names stop the
// process: they are a mistake in the simulator.
Class classNamed(const char* name);
std::string_view className(Class type);
bool isKindOf(id object, Class type);

// The class of a struct, by the name that the struct itself gives it as `platformClass`.
template <class T>
Class classFor() {
  static const Class type = classNamed(T::platformClass);
  return type;
}

// ---- Instances ---------------------------------------------------------------------------------

// Counts one more live object of the class and stamps its header.
void born(Object* object, Class type);

// A new object with one owner, the caller. Its memory must come from `operator new`, since that is
// how the runtime gives it back.
template <class T, class... Args>
T* make(Class type, Args&&... args) {
  static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
  static_assert(!std::is_polymorphic_v<T>, "the header must come first in memory");
  T* object = ::new (::operator new(sizeof(T))) T(std::forward<Args>(args)...);
  born(object, type);
  return object;
}
template <class T>
T* make() {
  return make<T>(classFor<T>());
}

// Ends an object's own parts; its memory is the runtime's to give back, or to keep as a zombie.
template <class T>
void destroyAs(Object* object) {
  static_cast<T*>(object)->~T();
}

template <class T>
id allocInstance(Class type, SEL) {
  return make<T>(type);
}

template <class T>
ClassDefinition defineClass(const char* name = T::platformClass,
                            const char* superclass = "NSObject") {
  IMP allocate = nullptr;
  if constexpr (std::is_default_constructible_v<T>) {
    allocate = reinterpret_cast<IMP>(&allocInstance<T>);
  }
  return ClassDefinition(name, superclass, &destroyAs<T>, allocate);
}

// The object as the simulator's own struct, or null when it is none of that struct's class.
template <class T>
T* as(id object) {
  return isKindOf(object, classFor<T>()) ? static_cast<T*>(header(object)) : nullptr;
}

// An owning handle, for the simulator's own code. `own` takes over a reference that the caller
// has; `share` adds one.
template <class T>
class Owned {
 public:
  Owned() = default;
  Owned(const Owned& other) noexcept : object_(other.object_) { objc_retain(object_); }
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Owned& operator=(Owned other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Owned() { objc_release(object_); }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  T* release() noexcept { return std::exchange(object_, nullptr); }

 private:
  template <class U>
  friend Owned<U> own(U* object) noexcept;

  T* object_ = nullptr;
};

template <class U>
Owned<U> own(U* object) noexcept {
  Owned<U> handle;
  handle.object_ = object;
  return handle;
}

template <class U>
Owned<U> share(U* object) noexcept {
  objc_retain(object);
  return own(object);
}

// The method that a message reaches, or one that raises; never traced, and no fault reaches it.
IMP methodOf(Class type, SEL selector) noexcept;
bool respondsTo(id object, SEL selector) noexcept;

// Sends a message, as the host and the frameworks do. The library's own go through objc_msgSend.
template <class R = id, class... Args>
R message(id receiver, const char* selector, Args... args) {
  if (receiver == nullptr) return R();
  const SEL registered = sel_registerName(selector);
  const IMP implementation = methodOf(classOf(receiver), registered);
  return reinterpret_cast<R (*)(id, SEL, Args...)>(implementation)(receiver, registered, args...);
}

// ---- Autorelease pools -------------------------------------------------------------------------

class AutoreleasePool {
 public:
  AutoreleasePool() : token_(objc_autoreleasePoolPush()) {}
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;
  ~AutoreleasePool() { objc_autoreleasePoolPop(token_); }

 private:
  void* token_;
};

// ---- What tests and the device ask of the runtime ----------------------------------------------

std::int64_t liveObjectCount();
std::map<std::string, std::int64_t> liveObjectsByClass();  // classes without any are left out
std::int64_t autoreleasedWithoutPool();                    // since the process started

// Keeps freed objects as zombies, so that any later use of one stops the process: the last so many
// of them, so that memory stays within bounds. Forgetting them gives their memory back; nothing may
// still point to one then.
inline constexpr std::size_t mostZombies = 100'000;
void keepZombies(bool keep);
void forgetZombies();

// Is this word the address of a live object? Only answered while zombies are kept, for the one
// place that must look at raw memory: what a library's variables still hold when the host ends.
bool isLiveObject(const void* word);

// Calls `action` once, on the thread that next retains the object and just before it does.
void callBeforeRetain(id object, std::function<void()> action);

// Hides a class from objc_getClass, and takes a method from a class, as on a host that lacks them.
void hideClass(const std::string& name);
void removeMethod(const char* type, const char* selector);

// Undoes every MSHookMessageEx, hideClass and removeMethod.
void restoreRuntime();

}  // namespace simulator
