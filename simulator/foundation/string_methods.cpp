// NSString: the messages.
#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <limits>

#include "simulator/foundation/character_set.hpp"
#include "simulator/foundation/string_class.hpp"
#include "simulator/foundation/unicode.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

[[noreturn]] void raiseNil(const char* method) {
  throw PlatformException("NSInvalidArgumentException", std::string(method) + ": nil argument");
}

// The string that a method was handed; raises for anything else.
const String* argument(id object, const char* method) {
  const String* string = asString(object);
  if (string == nullptr) raiseNil(method);
  return string;
}

// ---- Making strings ----------------------------------------------------------------------------

String* emptyString() {
  static String* const constant = makeImmortalString("");
  return constant;
}

// Every new string comes from an `init`, so all that `alloc` gives is one constant.
id allocString(Class, SEL) { return emptyString(); }

id initWithUtf8(id, SEL, const char* utf8) {
  if (utf8 == nullptr) {
    throw PlatformException("NSInvalidArgumentException",
                            "-[NSString initWithUTF8String:]: NULL cString");
  }
  if (!toUtf16(utf8).wellFormed) return nullptr;
  return makeString(std::string_view(utf8));
}

// Ends a variadic method's argument list on every way out.
struct ArgumentList {
  va_list list;
  ~ArgumentList() { va_end(list); }
};

id stringWithFormat(Class, SEL, id format, ...) {
  argument(format, "+[NSString stringWithFormat:]");
  ArgumentList arguments;
  va_start(arguments.list, format);
  return objc_autorelease(makeString(formatted(toUtf8(format), arguments.list)));
}

// The part from `from` to `to`, with one owner.
String* part(const String* string, std::size_t from, std::size_t to) {
  if (string->wide()) return makeString(string->wideUnits() + from, to - from);
  return makeNarrowString(string->narrowUnits() + from, to - from);
}

id substringFromIndex(String* self, SEL, NSUInteger index) {
  if (index > self->length()) {
    throw PlatformException("NSRangeException",
                            "-[NSString substringFromIndex:]: Range or index out of bounds");
  }
  return objc_autorelease(part(self, index, self->length()));
}

id componentsSeparatedBySet(String* self, SEL, CharacterSet* separators) {
  constexpr std::size_t usualPieces = 8;
  auto pieces = own(makeArray());
  pieces->items.reserve(usualPieces);
  const auto appendPiece = [&](std::size_t first, std::size_t end) {
    pieces->items.push_back(first == end ? emptyString() : part(self, first, end));
  };
  std::size_t from = 0;
  for (std::size_t i = 0; i < self->length(); ++i) {
    if (separators == nullptr || !separators->contains(self->at(i))) continue;
    appendPiece(from, i);
    from = i + 1;
  }
  appendPiece(from, self->length());
  return objc_autorelease(pieces.release());
}

// ---- Comparing and searching -------------------------------------------------------------------

// Whether `wanted`, which is not empty, stands at the position; it must fit in there. Most
// strings that differ do so in their last unit, so that one is asked first.
bool matchesAt(const String* string, std::size_t position, const String* wanted) {
  const std::size_t last = wanted->length() - 1;
  if (string->at(position + last) != wanted->at(last)) return false;
  if (string->wide() == wanted->wide()) {
    const std::size_t unit = string->wide() ? sizeof(char16_t) : 1;
    const std::uint8_t* from = string->narrowUnits() + position * unit;
    return std::memcmp(from, wanted->narrowUnits(), last * unit) == 0;
  }
  for (std::size_t i = 0; i < last; ++i) {
    if (string->at(position + i) != wanted->at(i)) return false;
  }
  return true;
}

std::uint32_t lastFour(const String* narrow) {
  std::uint32_t units;
  std::memcpy(&units, narrow->narrowUnits() + narrow->length() - sizeof units, sizeof units);
  return units;
}

// One word tells most strings apart, without a guess for the processor to get wrong.
bool lastFourDiffer(const String* string, const String* wanted) {
  return !string->wide() && !wanted->wide() && wanted->length() >= 4 &&
         lastFour(string) != lastFour(wanted);
}

BOOL hasSuffix(String* self, SEL, id suffix) {
  const String* wanted = argument(suffix, "-[NSString hasSuffix:]");
  if (wanted->length() == 0 || wanted->length() > self->length()) return false;
  return !lastFourDiffer(self, wanted) &&
         matchesAt(self, self->length() - wanted->length(), wanted);
}

std::string_view narrowUnits(const String* string) {
  return {reinterpret_cast<const char*>(string->narrowUnits()), string->length()};
}

NSUInteger placeOf(const String* wanted, const String* string) {
  if (!string->wide() && !wanted->wide()) {
    const std::size_t place = narrowUnits(string).find(narrowUnits(wanted));
    return place == std::string_view::npos ? NSNotFound : place;
  }
  for (std::size_t i = 0; i + wanted->length() <= string->length(); ++i) {
    if (matchesAt(string, i, wanted)) return i;
  }
  return NSNotFound;
}

NSRange rangeOfString(String* self, SEL, id other) {
  const String* wanted = argument(other, "-[NSString rangeOfString:]");
  const NSUInteger place = wanted->length() == 0 ? NSNotFound : placeOf(wanted, self);
  return {place, place == NSNotFound ? 0 : wanted->length()};
}

BOOL isEqual(String* self, SEL, id other) { return equalStrings(self, asString(other)); }

NSUInteger hash(String* self, SEL) {
  const std::size_t bytes = self->wide() ? self->length() * sizeof(char16_t) : self->length();
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(self->narrowUnits()), bytes});
}

// ---- Readings ----------------------------------------------------------------------------------

bool isWhiteSpace(char16_t unit) { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }
bool isDigit(char16_t unit) { return unit >= '0' && unit <= '9'; }

// What both readings begin with: the position after white space and one sign.
struct Start {
  std::size_t position = 0;
  bool negative = false;
};

Start skipSpaceAndSign(const String* string) {
  Start start;
  while (start.position < string->length() && isWhiteSpace(string->at(start.position))) {
    ++start.position;
  }
  if (start.position < string->length()) {
    const char16_t sign = string->at(start.position);
    start.negative = sign == '-';
    if (sign == '-' || sign == '+') ++start.position;
  }
  return start;
}

int intValue(String* self, SEL) {
  using Limits = std::numeric_limits<int>;
  const auto [begin, negative] = skipSpaceAndSign(self);
  std::int64_t value = 0;
  for (std::size_t i = begin; i < self->length() && isDigit(self->at(i)); ++i) {
    value = std::min<std::int64_t>(value * 10 + (self->at(i) - '0'), std::int64_t{1} << 31);
  }
  return static_cast<int>(negative ? -value : std::min<std::int64_t>(value, Limits::max()));
}

BOOL boolValue(String* self, SEL) {
  std::size_t i = skipSpaceAndSign(self).position;
  while (i < self->length() && self->at(i) == '0') ++i;
  if (i == self->length()) return false;
  const char16_t first = self->at(i);
  return isDigit(first) || first == 'Y' || first == 'y' || first == 'T' || first == 't';
}

}  // namespace

void defineStrings() {
  defineClass<String>("NSString", "NSObject")
      .classMethod("alloc", &allocString)
      .classMethod("stringWithFormat:", &stringWithFormat)
      .method("initWithUTF8String:", &initWithUtf8)
      .method(
          "length", +[](String* self, SEL) -> NSUInteger { return self->length(); })
      .method("isEqual:", &isEqual)
      .method("hash", &hash)
      .method("hasSuffix:", &hasSuffix)
      .method("rangeOfString:", &rangeOfString)
      .method("substringFromIndex:", &substringFromIndex)
      .method("componentsSeparatedByCharactersInSet:", &componentsSeparatedBySet)
      .method("intValue", &intValue)
      .method("boolValue", &boolValue)
      .method(
          "description", +[](id self, SEL) { return objc_autorelease(objc_retain(self)); });
  definedStringClass = classNamed("NSString");
}

}  // namespace simulator
