// Access to process-wide values that one thread writes and any thread reads. The values themselves
// are plain variables, so that code outside the library may look them up by name.
//
// `Cell` gives access to a scalar. `Published` makes an object variable own its object and replaces
// that whole: a reader gets the old one or the new one, complete, and keeps it alive for as long as
// it likes. Neither side waits. Objects must not change once published. The one writer may be
// different threads at different times, when something else orders them.
//
// Why a reader never meets a freed object. A reader (1) counts itself in, (2) loads the pointer,
// (3) retains, (4) counts itself out. The writer (5) exchanges the pointer, then (6) reads the
// count, and frees only at zero. All are sequentially consistent, hence in one order that every
// thread agrees on. A reader that loads the old pointer at (2) does so before (5), so its (1) is
// before (6) as well; (6) then reads zero only if its (4) is before (6) too, and so its retain is
// done. With release and acquire alone, (2) could take the old pointer while (6) misses (1).
#pragma once

#include "platform/abi.hpp"
#include "platform/ref.hpp"

namespace hushlane::platform {

template <class T>
class Cell {
 public:
  constexpr explicit Cell(T& value) noexcept : value_(value) {}

  T load() const noexcept { return __atomic_load_n(aligned(), __ATOMIC_SEQ_CST); }
  void store(T value) const noexcept { __atomic_store_n(aligned(), value, __ATOMIC_SEQ_CST); }

 private:
  // As the variables are defined, also where their type asks for less.
  using Aligned [[gnu::aligned(sizeof(T))]] = T;
  Aligned* aligned() const noexcept { return reinterpret_cast<Aligned*>(&value_); }

  T& value_;
};

// The part of Published that does not depend on the kind of object.
class PublishedObject {
 protected:
  consteval explicit PublishedObject(id& variable) noexcept : current_(variable) {}
  PublishedObject(const PublishedObject&) = delete;
  PublishedObject& operator=(const PublishedObject&) = delete;

  id retainCurrent() const noexcept;
  void publishObject(Ref<objc_object> next);

 private:
  void retire(id replaced);

  id& current_;
  mutable uintptr_t readers_ = 0;      // between (1) and (4)
  NSMutableArray* retired_ = nullptr;  // the writer's: replaced while a reader was in between
};

template <class T>
class Published : private PublishedObject {
 public:
  consteval explicit Published(id& variable) noexcept : PublishedObject(variable) {}

  // An owning handle of the current object; null while there is none. Any thread.
  Ref<T> read() const noexcept { return adopt(static_cast<T*>(retainCurrent())); }

  // Makes `next` the current object and releases the one before, at once or, when a reader is just
  // about to retain it, at a later publication. The writer's thread.
  void publish(Ref<T> next) { publishObject(move(next)); }
};

}  // namespace hushlane::platform
