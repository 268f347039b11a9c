#include "platform/foundation.hpp"

namespace hushlane::platform {

NSUInteger length(NSString* string) { return send<NSUInteger>(string, selector<"length">()); }

NSString* substringFromIndex(NSString* string, NSUInteger index) {
  return send<NSString*>(string, selector<"substringFromIndex:">(), index);
}

NSUInteger locationOfString(NSString* string, NSString* wanted) {
  if (string == nullptr || wanted == nullptr) return NSNotFound;
  return send<NSRange>(string, selector<"rangeOfString:">(), wanted).location;
}

// A variadic method must be called through a variadic type: on arm64 phones the arguments that
// stand for the dots go on the stack, and named ones do not.
NSString* stringWithFormat(NSString* format, int32_t value) {
  const id type = classNamed<"NSString">();
  if (type == nullptr || format == nullptr) return nullptr;
  const SEL name = selector<"stringWithFormat:">();
  const IMP implementation = class_getMethodImplementation(object_getClass(type), name);
  using Formatting = NSString* (*)(id, SEL, NSString*, ...);
  return reinterpret_cast<Formatting>(implementation)(type, name, format, value);
}

NSCharacterSet* characterSetWithCharactersInString(NSString* characters) {
  if (characters == nullptr) return nullptr;
  return send<NSCharacterSet*>(classNamed<"NSCharacterSet">(),
                               selector<"characterSetWithCharactersInString:">(), characters);
}

NSCharacterSet* invertedSet(NSCharacterSet* set) {
  return send<NSCharacterSet*>(set, selector<"invertedSet">());
}

NSArray* componentsSeparatedByCharactersInSet(NSString* string, NSCharacterSet* separators) {
  if (separators == nullptr) return nullptr;
  return send<NSArray*>(string, selector<"componentsSeparatedByCharactersInSet:">(), separators);
}

NSString* componentsJoinedByString(NSArray* components, NSString* separator) {
  if (separator == nullptr) return nullptr;
  return send<NSString*>(components, selector<"componentsJoinedByString:">(), separator);
}

NSNumber* numberWithInt(int32_t value) {
  return send<NSNumber*>(classNamed<"NSNumber">(), selector<"numberWithInt:">(), value);
}

bool hasIntValue(id value) { return respondsTo(value, selector<"intValue">()); }

int32_t intValue(id value) { return send<int32_t>(value, selector<"intValue">()); }

bool hasBoolValue(id value) { return respondsTo(value, selector<"boolValue">()); }

bool boolValue(id value) { return send<BOOL>(value, selector<"boolValue">()); }

Ref<NSMutableArray> makeMutableArray() {
  const id allocated = send<id>(classNamed<"NSMutableArray">(), selector<"alloc">());
  return adopt(send<NSMutableArray*>(allocated, selector<"init">()));
}

void addObject(NSMutableArray* array, id object) {
  if (object != nullptr) send<void>(array, selector<"addObject:">(), object);
}

bool containsObject(NSArray* array, id object) {
  return object != nullptr && send<BOOL>(array, selector<"containsObject:">(), object);
}

bool isArray(id object) { return respondsTo(object, selector<"objectAtIndex:">()); }

NSUInteger count(NSArray* array) { return send<NSUInteger>(array, selector<"count">()); }

id objectAtIndex(NSArray* array, NSUInteger index) {
  return send<id>(array, selector<"objectAtIndex:">(), index);
}

Ref<NSMutableDictionary> makeMutableDictionary() {
  const id allocated = send<id>(classNamed<"NSMutableDictionary">(), selector<"alloc">());
  return adopt(send<NSMutableDictionary*>(allocated, selector<"init">()));
}

void setObjectForKey(NSMutableDictionary* dictionary, id object, NSString* key) {
  if (object == nullptr || key == nullptr) return;
  send<void>(dictionary, selector<"setObject:forKey:">(), object, key);
}

id objectForKey(NSDictionary* dictionary, NSString* key) {
  if (key == nullptr) return nullptr;
  return send<id>(dictionary, selector<"objectForKey:">(), key);
}

Ref<NSDictionary> dictionaryWithContentsOfFile(NSString* path) {
  if (path == nullptr) return {};
  const id allocated = send<id>(classNamed<"NSDictionary">(), selector<"alloc">());
  return adopt(send<NSDictionary*>(allocated, selector<"initWithContentsOfFile:">(), path));
}

Ref<NSDate> makeDate() {
  const id allocated = send<id>(classNamed<"NSDate">(), selector<"alloc">());
  return adopt(send<NSDate*>(allocated, selector<"init">()));
}

NSDate* date() { return send<NSDate*>(classNamed<"NSDate">(), selector<"date">()); }

NSInteger weekdayOf(NSDate* moment) {
  constexpr NSUInteger weekdayUnit = 512;
  const id calendar = send<id>(classNamed<"NSCalendar">(), selector<"currentCalendar">());
  const id components = send<id>(calendar, selector<"components:fromDate:">(), weekdayUnit, moment);
  return send<NSInteger>(components, selector<"weekday">());
}

bool isData(id object) { return respondsTo(object, selector<"bytes">()); }

id unarchiveObjectWithData(NSData* data) {
  if (data == nullptr) return nullptr;
  return send<id>(classNamed<"NSKeyedUnarchiver">(), selector<"unarchiveObjectWithData:">(), data);
}

}  // namespace hushlane::platform
