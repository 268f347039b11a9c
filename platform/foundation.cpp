#include "platform/foundation.hpp"

namespace hushlane::platform {

namespace {

template <Text className, class T>
Ref<T> make() {
  return adopt(send<"init", T*()>(send<"alloc", id()>(classNamed<className>())));
}

}  // namespace

NSUInteger length(NSString* string) { return send<"length", NSUInteger()>(string); }

NSString* substringFromIndex(NSString* string, NSUInteger index) {
  return send<"substringFromIndex:", NSString*(NSUInteger)>(string, index);
}

NSUInteger locationOfString(NSString* string, NSString* wanted) {
  if (string == nullptr || wanted == nullptr) return 0;
  return send<"rangeOfString:", NSRange(NSString*)>(string, wanted).location;
}

NSString* stringWithFormat(NSString* format, int32_t value) {
  if (format == nullptr) return nullptr;
  return send<"stringWithFormat:", NSString*(NSString*, ...)>(classNamed<"NSString">(), format,
                                                              value);
}

NSCharacterSet* characterSetWithCharactersInString(NSString* characters) {
  if (characters == nullptr) return nullptr;
  return send<"characterSetWithCharactersInString:", NSCharacterSet*(NSString*)>(
      classNamed<"NSCharacterSet">(), characters);
}

NSCharacterSet* invertedSet(NSCharacterSet* set) {
  return send<"invertedSet", NSCharacterSet*()>(set);
}

NSArray* componentsSeparatedByCharactersInSet(NSString* string, NSCharacterSet* separators) {
  if (separators == nullptr) return nullptr;
  return send<"componentsSeparatedByCharactersInSet:", NSArray*(NSCharacterSet*)>(string,
                                                                                  separators);
}

NSString* componentsJoinedByString(NSArray* components, NSString* separator) {
  if (separator == nullptr) return nullptr;
  return send<"componentsJoinedByString:", NSString*(NSString*)>(components, separator);
}

NSNumber* numberWithInt(int32_t value) {
  return send<"numberWithInt:", NSNumber*(int32_t)>(classNamed<"NSNumber">(), value);
}

int64_t intValue(id value, int64_t absent) {
  return respondsTo<"intValue">(value) ? send<"intValue", int32_t()>(value) : absent;
}

bool boolValue(id value, bool absent) {
  return respondsTo<"boolValue">(value) ? send<"boolValue", BOOL()>(value) : absent;
}

Ref<NSMutableArray> makeMutableArray() { return make<"NSMutableArray", NSMutableArray>(); }

void addObject(NSMutableArray* array, id object) {
  if (object != nullptr) send<"addObject:", void(id)>(array, object);
}

bool containsObject(NSArray* array, id object) {
  return object != nullptr && send<"containsObject:", BOOL(id)>(array, object);
}

bool isArray(id object) { return respondsTo<"objectAtIndex:">(object); }

NSUInteger count(NSArray* array) { return send<"count", NSUInteger()>(array); }

id objectAtIndex(NSArray* array, NSUInteger index) {
  return send<"objectAtIndex:", id(NSUInteger)>(array, index);
}

Ref<NSMutableDictionary> makeMutableDictionary() {
  return make<"NSMutableDictionary", NSMutableDictionary>();
}

void setObjectForKey(NSMutableDictionary* dictionary, id object, NSString* key) {
  if (object == nullptr || key == nullptr) return;
  send<"setObject:forKey:", void(id, id)>(dictionary, object, key);
}

id objectForKey(NSDictionary* dictionary, NSString* key) {
  if (key == nullptr) return nullptr;
  return send<"objectForKey:", id(id)>(dictionary, key);
}

Ref<NSDictionary> dictionaryWithContentsOfFile(NSString* path) {
  if (path == nullptr) return {};
  const id allocated = send<"alloc", id()>(classNamed<"NSDictionary">());
  return adopt(send<"initWithContentsOfFile:", NSDictionary*(NSString*)>(allocated, path));
}

Ref<NSDate> makeDate() { return make<"NSDate", NSDate>(); }

NSDate* date() { return send<"date", NSDate*()>(classNamed<"NSDate">()); }

NSInteger weekdayOf(NSDate* moment) {
  constexpr NSUInteger weekdayUnit = 512;
  const id calendar = send<"currentCalendar", id()>(classNamed<"NSCalendar">());
  const id components =
      send<"components:fromDate:", id(NSUInteger, NSDate*)>(calendar, weekdayUnit, moment);
  return send<"weekday", NSInteger()>(components);
}

bool isData(id object) { return respondsTo<"bytes">(object); }

id unarchiveObjectWithData(NSData* data) {
  if (data == nullptr) return nullptr;
  return send<"unarchiveObjectWithData:", id(NSData*)>(classNamed<"NSKeyedUnarchiver">(), data);
}

}  // namespace hushlane::platform
