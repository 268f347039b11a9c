// Tells strings from other objects, for the code that must be quick about it.
#pragma once

#include <cstring>

#include "simulator/foundation/objects.hpp"

namespace simulator {

Class stringClass();

// Set before the first object is made, so a function that has one may read it.
inline Class definedStringClass = nullptr;

// Null when the object is null or no string. No class derives from NSString here, so one
// comparison tells.
inline const String* asString(id object) {
  if (object == nullptr || header(object)->isa != definedStringClass) return nullptr;
  return static_cast<const String*>(header(object));
}

// Unit for unit. Every string is as narrow as it can be, so equal ones have the same shape. Most
// others of that shape differ in their first unit, so it is looked at in place.
inline bool equalStrings(const String* left, const String* right) {
  if (left == nullptr || right == nullptr) return left == right;
  if (left->shape != right->shape) return false;
  if (*left->narrowUnits() != *right->narrowUnits()) return false;
  const std::size_t bytes = left->wide() ? left->length() * sizeof(char16_t) : left->length();
  return std::memcmp(left->narrowUnits(), right->narrowUnits(), bytes) == 0;
}

// One reference, which the caller owns.
String* makeNarrowString(const std::uint8_t* units, std::size_t length);

}  // namespace simulator
