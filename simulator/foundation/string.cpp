// NSString, and the NSCharacterSet that cuts it.
#include <utf8.h>

#include <algorithm>
#include <cstdarg>
#include <iterator>
#include <limits>

#include "simulator/foundation/objects.hpp"

namespace simulator {
namespace {

constexpr char16_t replacement = 0xFFFD;

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

struct CharacterSet : Object {
  static constexpr const char* platformClass = "NSCharacterSet";
  std::u16string listed;
  bool inverted = false;  // holds every unit but the listed ones

  bool contains(char16_t unit) const {
    return (listed.find(unit) != std::u16string::npos) != inverted;
  }
};

id makeCharacterSet(const std::u16string& listed, bool inverted) {
  auto* set = make<CharacterSet>();
  set->listed = listed;
  set->inverted = inverted;
  return objc_autorelease(set);
}

// The string that a method was handed; raises for anything else.
const std::u16string& argument(id object, const char* method) {
  const auto* string = as<String>(object);
  if (string == nullptr) {
    throw PlatformException("NSInvalidArgumentException", std::string(method) + ": nil argument");
  }
  return string->units;
}

// ---- Making strings ----------------------------------------------------------------------------

id initWithUtf8(String* self, SEL, const char* utf8) {
  if (utf8 == nullptr) {
    throw PlatformException("NSInvalidArgumentException",
                            "-[NSString initWithUTF8String:]: NULL cString");
  }
  if (!utf8::is_valid(std::string_view(utf8))) {
    objc_release(self);
    return nullptr;
  }
  self->units = utf16From(utf8);
  return self;
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

id substringFromIndex(String* self, SEL, NSUInteger index) {
  if (index > self->units.size()) {
    throw PlatformException("NSRangeException",
                            "-[NSString substringFromIndex:]: Range or index out of bounds");
  }
  return objc_autorelease(makeString(self->units.substr(index)));
}

id componentsSeparatedBySet(String* self, SEL, CharacterSet* separators) {
  auto pieces = own(makeArray());
  const auto appendPiece = [&](auto first, auto end) {
    append(pieces.get(), own(makeString(std::u16string(first, end))).get());
  };
  auto from = self->units.cbegin();
  for (auto at = from; at != self->units.cend(); ++at) {
    if (separators == nullptr || !separators->contains(*at)) continue;
    appendPiece(from, at);
    from = at + 1;
  }
  appendPiece(from, self->units.cend());
  return objc_autorelease(pieces.release());
}

id setWithCharacters(Class, SEL, id characters) {
  return makeCharacterSet(
      argument(characters, "+[NSCharacterSet characterSetWithCharactersInString:]"), false);
}

id invertedSet(CharacterSet* self, SEL) { return makeCharacterSet(self->listed, !self->inverted); }

// ---- Comparing and searching -------------------------------------------------------------------

BOOL hasSuffix(String* self, SEL, id suffix) {
  const std::u16string& wanted = argument(suffix, "-[NSString hasSuffix:]");
  return !wanted.empty() && self->units.ends_with(wanted);
}

NSRange rangeOfString(String* self, SEL, id other) {
  const std::u16string& wanted = argument(other, "-[NSString rangeOfString:]");
  const std::size_t place = wanted.empty() ? std::u16string::npos : self->units.find(wanted);
  if (place == std::u16string::npos) return {NSNotFound, 0};
  return {place, wanted.size()};
}

BOOL isEqual(String* self, SEL, id other) {
  const auto* string = as<String>(other);
  return string != nullptr && string->units == self->units;
}

// ---- Readings ----------------------------------------------------------------------------------

bool isWhiteSpace(char16_t unit) { return unit == ' ' || (unit >= '\t' && unit <= '\r'); }
bool isDigit(char16_t unit) { return unit >= '0' && unit <= '9'; }

// What both readings begin with is white space and one sign; the units after it, and the sign.
struct Reading {
  std::u16string_view rest;
  bool negative = false;
};

Reading skipSpaceAndSign(std::u16string_view units) {
  while (!units.empty() && isWhiteSpace(units.front())) units.remove_prefix(1);
  const char16_t sign = units.empty() ? u'0' : units.front();
  if (sign == '-' || sign == '+') units.remove_prefix(1);
  return {units, sign == '-'};
}

int intValue(String* self, SEL) {
  using Limits = std::numeric_limits<int>;
  const auto [rest, negative] = skipSpaceAndSign(self->units);
  std::int64_t value = 0;
  for (std::size_t i = 0; i < rest.size() && isDigit(rest[i]); ++i) {
    value = std::min<std::int64_t>(value * 10 + (rest[i] - '0'), std::int64_t{1} << 31);
  }
  return static_cast<int>(negative ? -value : std::min<std::int64_t>(value, Limits::max()));
}

BOOL boolValue(String* self, SEL) {
  const std::u16string_view rest = skipSpaceAndSign(self->units).rest;
  const std::size_t first = rest.find_first_not_of(u'0');
  return first != std::u16string_view::npos &&
         (isDigit(rest[first]) ||
          std::u16string_view(u"YyTt").find(rest[first]) != std::u16string_view::npos);
}

}  // namespace

std::u16string utf16From(std::string_view utf8) {
  std::u16string units;
  for (auto at = utf8.begin(); at != utf8.end();) {
    const auto malformed = utf8::find_invalid(at, utf8.end());
    utf8::utf8to16(at, malformed, std::back_inserter(units));
    at = malformed;
    if (at == utf8.end()) break;
    units.push_back(replacement);
    ++at;
  }
  return units;
}

std::string toUtf8(id object) {
  const auto* string = as<String>(object);
  if (string == nullptr) return {};
  std::u16string units = string->units;
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (isHighSurrogate(units[i]) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
      ++i;
    } else if (isHighSurrogate(units[i]) || isLowSurrogate(units[i])) {
      units[i] = replacement;
    }
  }
  return utf8::utf16to8(units);
}

String* makeString(std::u16string units) {
  auto* const string = make<String>();
  string->units = std::move(units);
  return string;
}

String* makeString(std::string_view utf8) { return makeString(utf16From(utf8)); }

String* makeImmortalString(std::string_view utf8) {
  auto* const string = new String;
  string->isa = classFor<String>();
  string->references = Object::immortal;
  string->units = utf16From(utf8);
  return string;
}

void defineStrings() {
  defineClass<String>()
      .classMethod("stringWithFormat:", &stringWithFormat)
      .method("initWithUTF8String:", &initWithUtf8)
      .method(
          "length", +[](String* self, SEL) -> NSUInteger { return self->units.size(); })
      .method("isEqual:", &isEqual)
      .method("hasSuffix:", &hasSuffix)
      .method("rangeOfString:", &rangeOfString)
      .method("substringFromIndex:", &substringFromIndex)
      .method("componentsSeparatedByCharactersInSet:", &componentsSeparatedBySet)
      .method("intValue", &intValue)
      .method("boolValue", &boolValue);
  defineClass<CharacterSet>()
      .classMethod("characterSetWithCharactersInString:", &setWithCharacters)
      .method("invertedSet", &invertedSet);
}

}  // namespace simulator
