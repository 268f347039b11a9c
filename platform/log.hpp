// The platform log. `log<"HL: text %@ %d">(object, number)` writes one entry.
//
// The text is checked at compile time against the arguments: `%@` takes an object or a boolean,
// which is printed as "y" or "n"; `%d` takes a 32-bit integer. Nothing is written on a host where
// the text can't be made into a string.
#pragma once

#include "platform/runtime.hpp"

namespace hushlane::platform {

inline NSString* logArgument(bool value) {
  return value ? constantString<"y">() : constantString<"n">();
}
inline int32_t logArgument(int32_t value) { return value; }
inline id logArgument(id object) { return object; }
template <class T>
id logArgument(const Ref<T>& object) {
  return object.get();
}

// The conversion that an argument of this type needs.
consteval char conversionFor(const bool*) { return '@'; }
consteval char conversionFor(const int32_t*) { return 'd'; }
consteval char conversionFor(const void*) { return '@'; }

template <size_t size>
consteval bool formatTakes(const Text<size>& format, const char* conversions, size_t count) {
  size_t taken = 0;
  for (size_t i = 0; i + 1 < size; ++i) {
    if (format.characters[i] != '%') continue;
    if (taken == count || format.characters[++i] != conversions[taken++]) return false;
  }
  return taken == count;
}

template <Text format, class... Args>
void log(const Args&... args) {
  constexpr char conversions[] = {conversionFor(static_cast<const Args*>(nullptr))..., '\0'};
  static_assert(formatTakes(format, conversions, sizeof...(Args)),
                "the arguments do not fit the text");
  if (NSString* const text = constantString<format>()) NSLog(text, logArgument(args)...);
}

}  // namespace hushlane::platform
