// The classes, selectors and methods of the object runtime. For the runtime itself; everyone else
// uses object.hpp.
//
// Any thread. Look-ups share the lock, so they don't order the threads that send messages: a race
// of the library stays one that the thread sanitizer sees.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/runtime/object.hpp"

namespace simulator {

struct ClassRecord : Object {
  // `meta` is the class of a class object, `zombie` that of a freed object.
  enum class Role : std::uint8_t { ordinary, meta, zombie };

  std::string name;
  Role role = Role::ordinary;
  ClassRecord* superclass = nullptr;
  ClassRecord* zombie = nullptr;
  Destroy destroy = nullptr;
  std::map<SEL, IMP> methods;  // its own, under the table's mutex
  std::atomic<std::int64_t> live{0};
};

inline ClassRecord& record(Class type) { return *static_cast<ClassRecord*>(header(type)); }
inline Class handle(ClassRecord& type) { return static_cast<Class>(static_cast<id>(&type)); }

// Defines every class; the runtime calls it once, at its first use. It stands beside the device,
// which alone knows all parts of the phone.
void defineClasses();

class ClassTable {
 public:
  static ClassTable& shared();

  SEL selector(std::string_view name);

  ClassRecord& define(const char* name, ClassRecord* superclass, Destroy destroy);
  ClassRecord* named(std::string_view name) const;    // null when there is none
  ClassRecord* visible(std::string_view name) const;  // the same, but null for a hidden one

  IMP lookUp(const ClassRecord& type, SEL selector) const;
  static IMP missing();  // the implementation of a method that does not exist: it raises

  void addMethod(ClassRecord& type, SEL selector, IMP implementation);

  // Changes that `restore` undoes. `replace` gives false, and does nothing, for a method that the
  // class does not answer to; it fills the slot before anyone can run the replacement.
  void replace(ClassRecord& type, SEL selector, IMP replacement, IMP* slot);
  void remove(ClassRecord& type, SEL selector);
  void hide(std::string_view name);
  void restore();

  std::map<std::string, std::int64_t> liveByClass() const;

 private:
  struct Change {
    ClassRecord* type;
    SEL selector;
    IMP before;  // null: the class had no method of its own
  };

  ClassRecord& add(const char* name, ClassRecord::Role role, ClassRecord* superclass);
  static IMP search(const ClassRecord& type, SEL selector);
  void change(ClassRecord& type, SEL selector, IMP implementation);

  mutable std::shared_mutex mutex_;
  std::map<std::string, objc_selector, std::less<>> selectors_;
  std::vector<std::unique_ptr<ClassRecord>> all_;
  std::map<std::string_view, ClassRecord*> classesByName_;
  std::set<std::string, std::less<>> hidden_;
  std::vector<Change> changes_;
};

}  // namespace simulator
