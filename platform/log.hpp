// The platform log. `log<"HL: text %@ %d">(object, number)` writes one entry. The texts are a
// contract with whoever reads or searches the log: they stay as they are, spelling included.
//
// The text is checked at compile time against the arguments: `%@` takes an object or a boolean,
// which is printed as "y" or "n"; `%d` takes an integer, of which 32 bits are printed. A cell is
// read when the entry is written. Nothing is written on a host where the text can't be made into a
// string.
#pragma once

#include "platform/published.hpp"
#include "platform/runtime.hpp"

namespace hushlane::platform {

// What is handed on of an argument: a plain value, so that callers keep nothing in memory for a
// line that is seldom written.
inline bool logged(bool value) { return value; }
inline int32_t logged(int32_t value) { return value; }
inline id logged(id object) { return object; }
template <class T>
id logged(const Ref<T>& object) {
  return object.get();
}
inline bool logged(const Cell<bool>& value) { return value.load(); }
inline int32_t logged(const Cell<int64_t>& value) { return static_cast<int32_t>(value.load()); }

inline NSString* logArgument(bool value) {
  return value ? constantString<"y">() : constantString<"n">();
}
inline int32_t logArgument(int32_t value) { return value; }
inline id logArgument(id object) { return object; }

// The conversion that an argument needs.
consteval char conversionFor(bool) { return '@'; }
consteval char conversionFor(int32_t) { return 'd'; }
consteval char conversionFor(id) { return '@'; }

template <size_t size>
consteval bool formatTakes(const Text<size>& format, const char* conversions, size_t count) {
  size_t taken = 0;
  for (size_t i = 0; i + 1 < size; ++i) {
    if (format.characters[i] != '%') continue;
    if (taken == count || format.characters[++i] != conversions[taken++]) return false;
  }
  return taken == count;
}

template <Text format, class... Values>
[[gnu::cold, gnu::noinline]] void writeLogEntry(Values... values) {
  constexpr char conversions[] = {conversionFor(Values())..., '\0'};
  static_assert(formatTakes(format, conversions, sizeof...(Values)),
                "the arguments do not fit the text");
  if (NSString* const text = constantString<format>()) NSLog(text, logArgument(values)...);
}

template <Text format, class... Args>
void log(const Args&... args) {
  writeLogEntry<format>(logged(args)...);
}

}  // namespace hushlane::platform
