// Tells strings from other objects, for the code that must be quick about it.
#pragma once

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

// One reference, which the caller owns.
String* makeNarrowString(const std::uint8_t* units, std::size_t length);

}  // namespace simulator
