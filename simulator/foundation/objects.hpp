// The Foundation objects of the simulated phone, as the simulator's own C++ code sees them. The
// library sees none of this: it sends messages.
//
// Every make function gives one reference, which the caller owns. Whoever makes a collection fills
// it before anyone else sees it; after that, the library alone may change its mutable ones.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/runtime/object.hpp"

namespace simulator {

// ---- Strings -----------------------------------------------------------------------------------

struct String : Object {
  static constexpr const char* platformClass = "NSString";
  std::u16string units;
};

String* makeString(std::string_view utf8);  // malformed bytes become U+FFFD
String* makeString(std::u16string units);
String* makeImmortalString(std::string_view utf8);  // a constant of the platform, never counted
std::u16string utf16From(std::string_view utf8);    // each malformed byte becomes U+FFFD
std::string toUtf8(id object);                      // "" for null; lone surrogates become U+FFFD

// ---- Numbers, data, dates ----------------------------------------------------------------------

struct Number : Object {
  static constexpr const char* platformClass = "NSNumber";

  enum class Kind : std::uint8_t { boolean, integer, real };
  Kind kind = Kind::integer;
  std::int64_t integer = 0;  // also 0 or 1 for a boolean
  double real = 0;
};

Number* makeBoolean(bool value);
Number* makeInteger(std::int64_t value);
Number* makeReal(double value);

struct Data : Object {
  static constexpr const char* platformClass = "NSData";

  std::vector<std::uint8_t> bytes;
};

Data* makeData(std::vector<std::uint8_t> bytes);

// A moment, in seconds since 2001-01-01 00:00:00 UTC, the platform's reference date.
struct Date : Object {
  static constexpr const char* platformClass = "NSDate";

  double sinceReferenceDate = 0;
};

Date* makeDate(double sinceReferenceDate);

// The index of an object inside a keyed archive: a property-list type of its own.
struct Uid : Object {
  static constexpr const char* platformClass = "NSKeyedArchiverUID";

  std::uint64_t value = 0;
};

Uid* makeUid(std::uint64_t value);

// ---- Collections: they retain what they hold ---------------------------------------------------

struct Array : Object {
  static constexpr const char* platformClass = "NSArray";
  std::vector<id> items;
  unsigned long mutations = 0;
  ~Array();
};

Array* makeArray();
void append(Array* array, id item);  // retains the item

struct Dictionary : Object {
  static constexpr const char* platformClass = "NSDictionary";
  std::map<std::u16string, Owned<Object>> entries;  // keys are strings, here
};

Dictionary* makeDictionary();
void store(Dictionary* dictionary, std::string_view key,
           id value);                                         // replaces an equal key's value
id find(const Dictionary* dictionary, std::string_view key);  // not owned; null when absent

bool areEqual(id left, id right);  // the platform's isEqual:, with null for nothing

// ---- Their classes, each function those of one source file -------------------------------------

void defineStrings();
void defineValues();
void defineDates();
void defineCollections();

// ---- Printing ----------------------------------------------------------------------------------

// The platform's description of an object: a list is printed as
//   (
//       1,
//       2
//   )
// and null as (null).
std::string describe(id object);

// Formats as stringWithFormat: and NSLog do, but with %@ and %d alone, which is all that anybody
// here uses. Another conversion raises NSInvalidArgumentException.
std::string formatted(std::string_view format, va_list arguments);

}  // namespace simulator
