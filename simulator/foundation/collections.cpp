// NSArray, NSDictionary and their mutable kinds.
#include <algorithm>
#include <filesystem>
#include <functional>

#include "simulator/device.hpp"
#include "simulator/faults.hpp"
#include "simulator/foundation/property_list.hpp"
#include "simulator/foundation/string_class.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

[[noreturn]] void raiseNil(const char* method) {
  throw PlatformException("NSInvalidArgumentException",
                          std::string(method) + ": object cannot be nil");
}

id description(id self, SEL) { return objc_autorelease(makeString(describe(self))); }

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

// Most strings of one shape differ in their first unit; what is compared with is at hand.
BOOL containsString(const Array* array, const String* wanted) {
  const auto equals = [wanted, type = wanted->isa, shape = wanted->shape,
                       first = *wanted->narrowUnits()](id item) {
    if (header(item)->isa != type) return false;
    const auto* string = static_cast<const String*>(header(item));
    return string->shape == shape && *string->narrowUnits() == first &&
           equalStrings(string, wanted);
  };
  return std::any_of(array->items.begin(), array->items.end(), equals);
}

BOOL containsObject(Array* self, SEL, id wanted) {
  if (wanted == nullptr) return false;
  if (const String* string = asString(wanted)) return containsString(self, string);
  const ObjectEqual equal;
  for (const id item : self->items) {
    if (equal(wanted, item)) return true;
  }
  return false;
}

BOOL equalArrays(Array* self, SEL, id other) {
  const auto* array = as<Array>(other, "NSArray");
  return array != nullptr && std::equal(self->items.begin(), self->items.end(),
                                        array->items.begin(), array->items.end(), ObjectEqual());
}

// The first call hands out everything there is, in place; the second ends the walk.
NSUInteger enumerate(Array* self, SEL, NSFastEnumerationState* walk, id*, NSUInteger) {
  if (walk->state != 0) return 0;
  walk->state = 1;
  walk->itemsPtr = self->items.data();
  walk->mutationsPtr = &self->mutations;
  return self->items.size();
}

// Null unless all are strings of narrow units and nothing stands between them.
String* joinedNarrow(const Array* array, const String* separator) {
  if (separator != nullptr && separator->length() > 0) return nullptr;
  std::string units;
  for (const id item : array->items) {
    const String* string = asString(item);
    if (string == nullptr || string->wide()) return nullptr;
    units.append(reinterpret_cast<const char*>(string->narrowUnits()), string->length());
  }
  return makeNarrowString(reinterpret_cast<const std::uint8_t*>(units.data()), units.size());
}

id componentsJoined(Array* self, SEL, id separator) {
  if (String* narrow = joinedNarrow(self, asString(separator))) return objc_autorelease(narrow);
  std::u16string joined;
  const auto appendString = [&joined](const String* string) {
    for (std::size_t i = 0; string != nullptr && i < string->length(); ++i) {
      joined.push_back(string->at(i));
    }
  };
  for (std::size_t i = 0; i < self->items.size(); ++i) {
    if (i > 0) appendString(asString(separator));
    if (const String* string = asString(self->items[i])) {
      appendString(string);
    } else {
      appendString(own(makeString(describe(self->items[i]))).get());
    }
  }
  return objc_autorelease(makeString(joined.data(), joined.size()));
}

void addObject(Array* self, SEL, id object) {
  if (object == nullptr) raiseNil("-[NSMutableArray addObject:]");
  append(self, object);
}

void defineArrays() {
  defineClass<Array>("NSArray", "NSObject")
      .method(
          "count", +[](Array* self, SEL) -> NSUInteger { return self->items.size(); })
      .method("objectAtIndex:", &objectAtIndex)
      .method("containsObject:", &containsObject)
      .method("countByEnumeratingWithState:objects:count:", &enumerate)
      .method("componentsJoinedByString:", &componentsJoined)
      .method("isEqual:", &equalArrays)
      .method(
          "hash", +[](Array* self, SEL) -> NSUInteger { return self->items.size(); })
      .method("description", &description);

  defineClass<Array>("NSMutableArray", "NSArray").method("addObject:", &addObject);
}

// ---- Dictionaries ------------------------------------------------------------------------------

id objectForKey(Dictionary* self, SEL, id key) {
  if (key == nullptr) return nullptr;
  const auto entry = self->entries.find(key);
  return entry == self->entries.end() ? nullptr : entry->second;
}

void setObject(Dictionary* self, SEL, id value, id key) {
  if (value == nullptr || key == nullptr) raiseNil("-[NSMutableDictionary setObject:forKey:]");
  store(self, key, value);
}

BOOL equalDictionaries(Dictionary* self, SEL selector, id other) {
  auto* dictionary = as<Dictionary>(other, "NSDictionary");
  if (dictionary == nullptr || dictionary->entries.size() != self->entries.size()) return false;
  for (const auto& [key, value] : self->entries) {
    if (!ObjectEqual()(value, objectForKey(dictionary, selector, key))) return false;
  }
  return true;
}

// Paths are those of the phone, so they begin at its root.
Owned<Object> readPhoneFile(id path) {
  if (asString(path) == nullptr || failsNow(Fault::initWithContentsOfFile)) return {};
  const std::filesystem::path absolute = std::filesystem::path("/") / toUtf8(path);
  return readPropertyList(Device::current().root / absolute.lexically_normal().relative_path());
}

id initWithContentsOfFile(Dictionary* self, SEL, id path) {
  const Owned<Object> root = readPhoneFile(path);
  const auto* content = as<Dictionary>(root.get(), "NSDictionary");
  if (content == nullptr) {
    objc_release(self);
    return nullptr;
  }
  for (const auto& [key, value] : content->entries) store(self, key, value);
  return self;
}

void defineDictionaries() {
  defineClass<Dictionary>("NSDictionary", "NSObject")
      .method("initWithContentsOfFile:", &initWithContentsOfFile)
      .method(
          "count", +[](Dictionary* self, SEL) -> NSUInteger { return self->entries.size(); })
      .method("objectForKey:", &objectForKey)
      .method("isEqual:", &equalDictionaries)
      .method(
          "hash", +[](Dictionary* self, SEL) -> NSUInteger { return self->entries.size(); })
      .method("description", &description);

  defineClass<Dictionary>("NSMutableDictionary", "NSDictionary")
      .method("setObject:forKey:", &setObject);
}

}  // namespace

Array::~Array() {
  for (const id item : items) objc_release(item);
}

Array* makeArray() {
  static const Class type = classNamed("NSArray");
  return make<Array>(type);
}

Array* makeMutableArray() { return make<Array>(classNamed("NSMutableArray")); }

void append(Array* array, id item) {
  ++array->mutations;
  array->items.push_back(item);
  objc_retain(item);
}

std::size_t ObjectHash::operator()(id object) const {
  static const SEL selector = sel_registerName("hash");
  const IMP hash = methodOf(object_getClass(object), selector);
  return reinterpret_cast<NSUInteger (*)(id, SEL)>(hash)(object, selector);
}

bool ObjectEqual::operator()(id left, id right) const {
  if (left == right) return true;
  if (left == nullptr || right == nullptr) return false;
  static const SEL selector = sel_registerName("isEqual:");
  const IMP isEqual = methodOf(object_getClass(left), selector);
  return reinterpret_cast<BOOL (*)(id, SEL, id)>(isEqual)(left, selector, right);
}

Dictionary::~Dictionary() {
  for (const auto& [key, value] : entries) {
    objc_release(value);
    objc_release(key);
  }
}

Dictionary* makeDictionary() { return make<Dictionary>(classNamed("NSDictionary")); }
Dictionary* makeMutableDictionary() { return make<Dictionary>(classNamed("NSMutableDictionary")); }

void store(Dictionary* dictionary, id key, id value) {
  const auto [entry, added] = dictionary->entries.try_emplace(key, value);
  objc_retain(value);
  if (added) {
    objc_retain(key);
  } else {
    objc_release(std::exchange(entry->second, value));
  }
}

id find(const Dictionary* dictionary, std::string_view key) {
  const auto wanted = own(makeString(key));
  const auto entry = dictionary->entries.find(wanted.get());
  return entry == dictionary->entries.end() ? nullptr : entry->second;
}

void defineCollections() {
  defineArrays();
  defineDictionaries();
}

}  // namespace simulator
