// The Foundation objects of the simulated phone, as the simulator's own C++ code sees them. The
// library sees none of this: it sends messages.
//
// Every make function gives one reference, which the caller owns. Objects are immutable once
// made, but for the mutable collections, which one thread at a time may change.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "simulator/runtime/object.hpp"

namespace simulator {

// ---- Strings -----------------------------------------------------------------------------------

// A string of UTF-16 code units, kept in one allocation: the units follow the struct, one byte
// each when all of them are below 256, else two. A null byte ends them, so that even an empty
// string has a first unit to look at.
struct String : Object {
  String(std::uint32_t units, bool twoBytesEach) : shape(units << 1 | (twoBytesEach ? 1 : 0)) {}

  static constexpr std::uint32_t longest = 0x7fff'ffff;
  const std::uint32_t shape;  // one word, so that two strings are quickly told apart

  std::uint32_t length() const { return shape >> 1; }  // in UTF-16 code units
  bool wide() const { return (shape & 1) != 0; }       // two bytes a unit
  const std::uint8_t* narrowUnits() const {
    return reinterpret_cast<const std::uint8_t*>(this + 1);
  }
  const char16_t* wideUnits() const { return reinterpret_cast<const char16_t*>(this + 1); }
  char16_t at(std::size_t index) const {
    return wide() ? wideUnits()[index] : narrowUnits()[index];
  }
};

String* makeString(std::string_view utf8);  // malformed bytes become U+FFFD
String* makeString(const char16_t* units, std::size_t length);
String* makeImmortalString(std::string_view utf8);  // a constant of the platform, never counted
std::string toUtf8(id object);                      // "" for null; lone surrogates become U+FFFD
bool equalStrings(const String* left, const String* right);  // unit for unit

// ---- Numbers, data, dates ----------------------------------------------------------------------

struct Number : Object {
  enum class Kind : std::uint8_t { boolean, integer, real };
  Kind kind = Kind::integer;
  std::int64_t integer = 0;  // also 0 or 1 for a boolean
  double real = 0;
};

Number* makeBoolean(bool value);
Number* makeInteger(std::int64_t value);
Number* makeReal(double value);

struct Data : Object {
  std::vector<std::uint8_t> bytes;
};

Data* makeData(std::vector<std::uint8_t> bytes);

// A moment, in seconds since 2001-01-01 00:00:00 UTC, the platform's reference date.
struct Date : Object {
  double sinceReferenceDate = 0;
};

Date* makeDate(double sinceReferenceDate);

// The index of an object inside a keyed archive: a property-list type of its own.
struct Uid : Object {
  std::uint64_t value = 0;
};

Uid* makeUid(std::uint64_t value);

// ---- Collections: they retain what they hold ---------------------------------------------------

struct Array : Object {
  std::vector<id> items;
  unsigned long mutations = 0;
  ~Array();
};

Array* makeArray();  // an NSArray; fill it with `append` before anyone sees it
Array* makeMutableArray();
void append(Array* array, id item);  // retains the item

struct ObjectHash {
  std::size_t operator()(id object) const;
};
struct ObjectEqual {
  bool operator()(id left, id right) const;  // the platform's isEqual:
};

struct Dictionary : Object {
  std::unordered_map<id, id, ObjectHash, ObjectEqual> entries;
  ~Dictionary();
};

Dictionary* makeDictionary();
Dictionary* makeMutableDictionary();
void store(Dictionary* dictionary, id key,
           id value);  // retains both; replaces an equal key's value
id find(const Dictionary* dictionary, std::string_view key);  // not owned; null when absent

// ---- Printing ----------------------------------------------------------------------------------

// The platform's description of an object: a list is printed as
//   (
//       1,
//       2
//   )
// and null as (null).
std::string describe(id object);

// Formats as stringWithFormat: and NSLog do: %@ %d %i %u %x %ld %lu %lld %llu %f %g %s %c %%.
// An unknown conversion raises NSInvalidArgumentException.
std::string formatted(std::string_view format, va_list arguments);

}  // namespace simulator
