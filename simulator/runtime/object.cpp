#include "simulator/runtime/object.hpp"

#include <deque>
#include <mutex>
#include <new>
#include <unordered_set>

#include "simulator/context/faults.hpp"
#include "simulator/runtime/class_table.hpp"

namespace simulator {
namespace {

// The objects that live and those that were freed, known one by one while zombies are kept.
class Census {
 public:
  static Census& shared() {
    static auto* census = new Census;
    return *census;
  }

  bool keeping() const { return keeping_.load(std::memory_order_relaxed); }

  void keep(bool keep) {
    const std::lock_guard lock(mutex_);
    keeping_ = keep;
    if (!keep) live_.clear();
  }
  void add(const Object* object) {
    const std::lock_guard lock(mutex_);
    live_.insert(object);
  }
  bool contains(const void* word) {
    const std::lock_guard lock(mutex_);
    return live_.contains(word);
  }
  void bury(Object* object) {
    const std::lock_guard lock(mutex_);
    live_.erase(object);
    try {
      zombies_.push_back(object);
    } catch (const std::bad_alloc&) {
      return;  // it stays for good
    }
    if (zombies_.size() > mostZombies) forgetOldest();
  }
  void forgetZombies() {
    const std::lock_guard lock(mutex_);
    while (!zombies_.empty()) forgetOldest();
  }

 private:
  void forgetOldest() {
    ::operator delete(zombies_.front());
    zombies_.pop_front();
  }

  std::atomic<bool> keeping_{false};
  std::mutex mutex_;
  std::unordered_set<const void*> live_;
  std::deque<Object*> zombies_;
};

// Leaves a header by which any later use of the memory is recognised.
void turnIntoZombie(Object* object, ClassRecord& type) {
  auto* zombie = ::new (static_cast<void*>(object)) Object;
  zombie->isa = handle(*type.zombie);
  zombie->references = 0;
  Census::shared().bury(zombie);
}

void destroy(Object* object) {
  ClassRecord& type = record(object->isa);
  type.destroy(object);
  type.live.fetch_sub(1, std::memory_order_relaxed);
  if (Census::shared().keeping()) {
    turnIntoZombie(object, type);
  } else {
    ::operator delete(object);
  }
}

std::atomic<id> awaitedAtRetain{nullptr};
std::function<void()> beforeRetain;

// Any thread; returns when all classes are defined.
void ensureClassesDefined() {
  static std::once_flag once;
  static thread_local bool defining = false;  // defining a class uses the runtime as well
  if (defining) return;
  std::call_once(once, [] {
    defining = true;
    defineClasses();
    defining = false;
  });
}

[[noreturn]] void stopAtMisuse(const Object* object, const char* what) {
  fatal(record(object->isa).name + ": " + what);
}

}  // namespace

// ---- Classes -----------------------------------------------------------------------------------

ClassDefinition::ClassDefinition(const char* name, const char* superclass, Destroy destroy,
                                 IMP allocate) {
  ensureClassesDefined();
  ClassRecord* inherited = superclass == nullptr ? nullptr : &record(classNamed(superclass));
  type_ = handle(ClassTable::shared().define(name, inherited, destroy));
  // An inherited `alloc` would make an object of the wrong size.
  add(header(type_)->isa, "alloc", allocate == nullptr ? ClassTable::missing() : allocate);
}

ClassDefinition& ClassDefinition::add(Class type, const char* selector, IMP implementation) {
  ClassTable::shared().addMethod(record(type), sel_registerName(selector), implementation);
  return *this;
}

Class classNamed(const char* name) {
  ensureClassesDefined();
  ClassRecord* type = ClassTable::shared().named(name);
  if (type == nullptr) fatal(std::string(name) + ": no such class");
  return handle(*type);
}

std::string_view className(Class type) { return record(type).name; }

bool isKindOf(id object, Class type) {
  if (object == nullptr) return false;
  const ClassRecord* at = &record(header(object)->isa);
  while (at != nullptr && at != &record(type)) at = at->superclass;
  return at != nullptr;
}

void defineObject() {
  defineClass<Object>("NSObject", nullptr)
      .method(
          "init", +[](id self, SEL) { return self; })
      .method(
          "respondsToSelector:",
          +[](id self, SEL, SEL asked) -> BOOL { return respondsTo(self, asked); })
      .method(
          "isEqual:", +[](id self, SEL, id other) -> BOOL { return self == other; });
}

// ---- Instances ---------------------------------------------------------------------------------

void born(Object* object, Class type) {
  object->isa = type;
  record(type).live.fetch_add(1, std::memory_order_relaxed);
  if (Census::shared().keeping()) Census::shared().add(object);
}

IMP methodOf(Class type, SEL selector) noexcept {
  return ClassTable::shared().lookUp(record(type), selector);
}

bool respondsTo(id object, SEL selector) noexcept {
  return methodOf(classOf(object), selector) != ClassTable::missing();
}

// ---- What tests and the device ask of the runtime ----------------------------------------------

std::int64_t liveObjectCount() {
  std::int64_t sum = 0;
  for (const auto& [name, count] : liveObjectsByClass()) sum += count;
  return sum;
}

std::map<std::string, std::int64_t> liveObjectsByClass() {
  return ClassTable::shared().liveByClass();
}

void keepZombies(bool keep) { Census::shared().keep(keep); }
void forgetZombies() { Census::shared().forgetZombies(); }
bool isLiveObject(const void* word) { return Census::shared().contains(word); }

void callBeforeRetain(id object, std::function<void()> action) {
  beforeRetain = std::move(action);
  awaitedAtRetain = object;
}

void hideClass(const std::string& name) { ClassTable::shared().hide(name); }

void removeMethod(const char* type, const char* selector) {
  ClassTable::shared().remove(record(classNamed(type)), sel_registerName(selector));
}

void restoreRuntime() { ClassTable::shared().restore(); }

}  // namespace simulator

// ---- The platform's C functions ----------------------------------------------------------------

using simulator::ClassTable;
using simulator::Object;

Class objc_getClass(const char* name) noexcept {
  simulator::ensureClassesDefined();
  if (name == nullptr) return nullptr;
  if (simulator::failsNow(simulator::Fault::objc_getClass, name)) return nullptr;
  simulator::ClassRecord* type = ClassTable::shared().visible(name);
  return type == nullptr ? nullptr : simulator::handle(*type);
}

SEL sel_registerName(const char* name) noexcept { return ClassTable::shared().selector(name); }

void MSHookMessageEx(Class type, SEL selector, IMP replacement, IMP* slot) noexcept {
  const std::string about =
      std::string(type == nullptr ? "(null)" : simulator::className(type)) + " " + selector->name;
  if (simulator::failsNow(simulator::Fault::MSHookMessageEx, about) || type == nullptr) return;
  ClassTable::shared().replace(simulator::record(type), selector, replacement, slot);
}

id objc_retain(id object) noexcept {
  if (object == nullptr) return nullptr;
  if (object == simulator::awaitedAtRetain.load(std::memory_order_relaxed)) {
    simulator::awaitedAtRetain = nullptr;
    std::exchange(simulator::beforeRetain, nullptr)();
  }
  Object* retained = simulator::header(object);
  if (retained->references.load(std::memory_order_relaxed) == Object::immortal) return object;
  if (retained->references.fetch_add(1, std::memory_order_relaxed) < 1) {
    simulator::stopAtMisuse(retained, "retained after it was freed");
  }
  return object;
}

void objc_release(id object) noexcept {
  if (object == nullptr) return;
  Object* released = simulator::header(object);
  if (released->references.load(std::memory_order_relaxed) == Object::immortal) return;
  const std::int32_t owners = released->references.fetch_sub(1, std::memory_order_acq_rel);
  if (owners > 1) return;
  if (owners < 1) simulator::stopAtMisuse(released, "released more often than it was owned");
  simulator::destroy(released);
}
