// NSArray, NSDictionary and their mutable kinds.
#include <algorithm>
#include <filesystem>

#include "simulator/context/context.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/foundation/property_list.hpp"

namespace simulator {
namespace {

[[noreturn]] void raiseNil(const char* method) {
  throw PlatformException("NSInvalidArgumentException",
                          std::string(method) + ": object cannot be nil");
}

// ---- Arrays ------------------------------------------------------------------------------------

id objectAtIndex(Array* self, SEL, NSUInteger index) {
  if (index >= self->items.size()) {
    const std::string bounds =
        self->items.empty() ? "for empty array"
                            : "beyond bounds [0 .. " + std::to_string(self->items.size() - 1) + "]";
    throw PlatformException("NSRangeException", "-[NSArray objectAtIndex:]: index " +
                                                    std::to_string(index) + " " + bounds);
  }
  return self->items[index];
}

BOOL containsObject(Array* self, SEL, id wanted) {
  if (wanted == nullptr) return false;
  return std::any_of(self->items.begin(), self->items.end(),
                     [wanted](id item) { return areEqual(wanted, item); });
}

// The first call hands out everything there is, in place; the second ends the walk.
NSUInteger enumerate(Array* self, SEL, NSFastEnumerationState* walk, id*, NSUInteger) {
  if (walk->state != 0) return 0;
  walk->state = 1;
  walk->itemsPtr = self->items.data();
  walk->mutationsPtr = &self->mutations;
  return self->items.size();
}

id componentsJoined(Array* self, SEL, id separator) {
  const auto* between = as<String>(separator);
  std::u16string joined;
  for (std::size_t i = 0; i < self->items.size(); ++i) {
    if (i > 0 && between != nullptr) joined += between->units;
    const auto* string = as<String>(self->items[i]);
    joined += string != nullptr ? string->units : utf16From(describe(self->items[i]));
  }
  return objc_autorelease(makeString(std::move(joined)));
}

void addObject(Array* self, SEL, id object) {
  if (object == nullptr) raiseNil("-[NSMutableArray addObject:]");
  append(self, object);
}

void defineArrays() {
  defineClass<Array>()
      .method(
          "count", +[](Array* self, SEL) -> NSUInteger { return self->items.size(); })
      .method("objectAtIndex:", &objectAtIndex)
      .method("containsObject:", &containsObject)
      .method("countByEnumeratingWithState:objects:count:", &enumerate)
      .method("componentsJoinedByString:", &componentsJoined);

  defineClass<Array>("NSMutableArray", "NSArray").method("addObject:", &addObject);
}

// ---- Dictionaries ------------------------------------------------------------------------------

id objectForKey(Dictionary* self, SEL, id key) {
  const auto* name = as<String>(key);
  const auto entry = name == nullptr ? self->entries.end() : self->entries.find(name->units);
  return entry == self->entries.end() ? nullptr : entry->second.get();
}

void setObject(Dictionary* self, SEL, id value, id key) {
  const auto* name = as<String>(key);
  if (value == nullptr || name == nullptr) raiseNil("-[NSMutableDictionary setObject:forKey:]");
  self->entries.insert_or_assign(name->units, share(header(value)));
}

// Paths are those of the phone, so they begin at its root.
Owned<Object> readPhoneFile(id path) {
  if (as<String>(path) == nullptr || failsNow(Fault::initWithContentsOfFile)) return {};
  const std::filesystem::path absolute = std::filesystem::path("/") / toUtf8(path);
  return readPropertyList(Context::current().root / absolute.lexically_normal().relative_path());
}

id initWithContentsOfFile(Dictionary* self, SEL, id path) {
  const Owned<Object> root = readPhoneFile(path);
  const auto* content = as<Dictionary>(root.get());
  if (content == nullptr) {
    objc_release(self);
    return nullptr;
  }
  self->entries = content->entries;
  return self;
}

void defineDictionaries() {
  defineClass<Dictionary>()
      .method("initWithContentsOfFile:", &initWithContentsOfFile)
      .method("objectForKey:", &objectForKey);

  defineClass<Dictionary>("NSMutableDictionary", "NSDictionary")
      .method("setObject:forKey:", &setObject);
}

}  // namespace

Array::~Array() {
  for (const id item : items) objc_release(item);
}

Array* makeArray() { return make<Array>(); }

void append(Array* array, id item) {
  ++array->mutations;
  array->items.push_back(item);
  objc_retain(item);
}

Dictionary* makeDictionary() { return make<Dictionary>(); }

void store(Dictionary* dictionary, std::string_view key, id value) {
  dictionary->entries.insert_or_assign(utf16From(key), share(header(value)));
}

id find(const Dictionary* dictionary, std::string_view key) {
  const auto entry = dictionary->entries.find(utf16From(key));
  return entry == dictionary->entries.end() ? nullptr : entry->second.get();
}

bool areEqual(id left, id right) {
  return left == right ||
         (left != nullptr && right != nullptr && message<BOOL>(left, "isEqual:", right));
}

void defineCollections() {
  defineArrays();
  defineDictionaries();
}

}  // namespace simulator
