#include "simulator/runtime/class_table.hpp"

#include <mutex>

namespace simulator {
namespace {

std::string signature(id receiver, SEL selector) {
  const ClassRecord& type = record(header(receiver)->isa);
  const char* kind = type.role == ClassRecord::Role::meta ? "+[" : "-[";
  return kind + type.name + " " + selector->name + "]";
}

void raiseMissing(id receiver, SEL selector) {
  const bool toClass = record(header(receiver)->isa).role == ClassRecord::Role::meta;
  throw PlatformException("NSInvalidArgumentException", signature(receiver, selector) +
                                                            ": unrecognized selector sent to " +
                                                            (toClass ? "class" : "instance"));
}

void stopAtZombie(id receiver, SEL selector) {
  fatal(signature(receiver, selector) + ": message sent to a freed object");
}

}  // namespace

ClassTable& ClassTable::shared() {
  static auto* table = new ClassTable;  // outlives every static object that may still use it
  return *table;
}

SEL ClassTable::selector(std::string_view name) {
  {
    const std::shared_lock lock(mutex_);
    if (const auto known = selectors_.find(name); known != selectors_.end()) {
      return &known->second;
    }
  }
  const std::unique_lock lock(mutex_);
  const std::string owned(name);
  return &selectors_.try_emplace(owned, objc_selector{owned}).first->second;
}

ClassRecord& ClassTable::add(const char* name, ClassRecord::Role role, ClassRecord* superclass) {
  ClassRecord& added = *all_.emplace_back(std::make_unique<ClassRecord>());
  added.references = Object::immortal;
  added.name = name;
  added.role = role;
  added.superclass = superclass;
  return added;
}

ClassRecord& ClassTable::define(const char* name, ClassRecord* superclass, Destroy destroy) {
  const std::unique_lock lock(mutex_);
  if (classesByName_.contains(name)) fatal(std::string(name) + ": class defined twice");
  ClassRecord& type = add(name, ClassRecord::Role::ordinary, superclass);
  // As on the platform, a class answers to the instance methods of the root class as well.
  ClassRecord* metaSuperclass = superclass == nullptr ? &type : &record(superclass->isa);
  ClassRecord& meta = add(name, ClassRecord::Role::meta, metaSuperclass);
  type.isa = handle(meta);
  type.zombie = &add(name, ClassRecord::Role::zombie, nullptr);
  type.destroy = destroy;
  classesByName_[type.name] = &type;
  return type;
}

ClassRecord* ClassTable::named(std::string_view name) const {
  const std::shared_lock lock(mutex_);
  const auto known = classesByName_.find(name);
  return known == classesByName_.end() ? nullptr : known->second;
}

ClassRecord* ClassTable::visible(std::string_view name) const {
  {
    const std::shared_lock lock(mutex_);
    if (hidden_.contains(name)) return nullptr;
  }
  return named(name);
}

IMP ClassTable::search(const ClassRecord& type, SEL selector) {
  if (type.role == ClassRecord::Role::zombie) return reinterpret_cast<IMP>(&stopAtZombie);
  for (const ClassRecord* at = &type; at != nullptr; at = at->superclass) {
    if (auto own = at->methods.find(selector); own != at->methods.end()) return own->second;
  }
  return missing();
}

IMP ClassTable::lookUp(const ClassRecord& type, SEL selector) const {
  const std::shared_lock lock(mutex_);
  return search(type, selector);
}

IMP ClassTable::missing() { return reinterpret_cast<IMP>(&raiseMissing); }

void ClassTable::addMethod(ClassRecord& type, SEL selector, IMP implementation) {
  const std::unique_lock lock(mutex_);
  type.methods[selector] = implementation;
}

void ClassTable::change(ClassRecord& type, SEL selector, IMP implementation) {
  const auto own = type.methods.find(selector);
  changes_.push_back({&type, selector, own == type.methods.end() ? nullptr : own->second});
  type.methods[selector] = implementation;
}

void ClassTable::replace(ClassRecord& type, SEL selector, IMP replacement, IMP* slot) {
  const std::unique_lock lock(mutex_);
  const IMP original = search(type, selector);
  if (original == missing()) return;
  if (slot != nullptr) *slot = original;
  change(type, selector, replacement);
}

void ClassTable::remove(ClassRecord& type, SEL selector) {
  const std::unique_lock lock(mutex_);
  change(type, selector, missing());
}

void ClassTable::hide(std::string_view name) {
  const std::unique_lock lock(mutex_);
  hidden_.emplace(name);
}

void ClassTable::restore() {
  const std::unique_lock lock(mutex_);
  for (auto change = changes_.rbegin(); change != changes_.rend(); ++change) {
    if (change->before == nullptr) {
      change->type->methods.erase(change->selector);
    } else {
      change->type->methods[change->selector] = change->before;
    }
  }
  changes_.clear();
  hidden_.clear();
}

std::map<std::string, std::int64_t> ClassTable::liveByClass() const {
  const std::shared_lock lock(mutex_);
  std::map<std::string, std::int64_t> live;
  for (const auto& [name, type] : classesByName_) {
    const std::int64_t count = type->live.load(std::memory_order_relaxed);
    if (count != 0) live.emplace(name, count);
  }
  return live;
}

}  // namespace simulator
