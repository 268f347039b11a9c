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

bool descends(const ClassRecord* type, const ClassRecord* ancestor) {
  while (type != nullptr && type != ancestor) type = type->superclass;
  return type != nullptr;
}

}  // namespace

ClassTable& ClassTable::shared() {
  static auto* table = new ClassTable;  // outlives every static object that may still use it
  return *table;
}

SEL ClassTable::selector(std::string_view name) {
  {
    const std::shared_lock lock(mutex_);
    if (auto known = selectorsByName_.find(name); known != selectorsByName_.end()) {
      return known->second;
    }
  }
  const std::unique_lock lock(mutex_);
  if (auto known = selectorsByName_.find(name); known != selectorsByName_.end()) {
    return known->second;
  }
  selectors_.push_back({std::string(name), selectors_.size()});
  return selectorsByName_[selectors_.back().name] = &selectors_.back();
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

IMP ClassTable::lookUp(ClassRecord& type, SEL selector) {
  const std::unique_lock lock(mutex_);
  const IMP implementation = search(type, selector);
  if (selector->index < ClassRecord::cachedSelectors) {
    type.found[selector->index].store(implementation, std::memory_order_release);
  }
  return implementation;
}

IMP ClassTable::missing() { return reinterpret_cast<IMP>(&raiseMissing); }

void ClassTable::forgetFound(const ClassRecord& type, SEL selector) {
  if (selector->index >= ClassRecord::cachedSelectors) return;
  for (const auto& other : all_) {
    if (descends(other.get(), &type)) {
      other->found[selector->index].store(nullptr, std::memory_order_release);
    }
  }
}

void ClassTable::addMethod(ClassRecord& type, SEL selector, IMP implementation) {
  const std::unique_lock lock(mutex_);
  type.methods[selector] = implementation;
  forgetFound(type, selector);
}

void ClassTable::change(ClassRecord& type, SEL selector, IMP implementation) {
  const auto own = type.methods.find(selector);
  changes_.push_back({&type, selector, own == type.methods.end() ? nullptr : own->second});
  type.methods[selector] = implementation;
  forgetFound(type, selector);
}

bool ClassTable::replace(ClassRecord& type, SEL selector, IMP replacement, IMP* slot) {
  const std::unique_lock lock(mutex_);
  const IMP original = search(type, selector);
  if (original == missing()) return false;
  if (slot != nullptr) *slot = original;
  change(type, selector, replacement);
  return true;
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
    forgetFound(*change->type, change->selector);
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
