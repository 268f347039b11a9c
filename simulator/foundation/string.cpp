#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/string_class.hpp"
#include "simulator/foundation/unicode.hpp"

namespace simulator {
namespace {

std::uint8_t* narrowStorage(String* string) { return reinterpret_cast<std::uint8_t*>(string + 1); }

String* allocate(std::size_t length, bool wide) {
  if (length > String::longest) throw std::length_error("a string of more units than it can count");
  const std::size_t bytes = wide ? length * sizeof(char16_t) : length;
  auto* const string = ::new (::operator new(sizeof(String) + bytes + 1))
      String(static_cast<std::uint32_t>(length), wide);
  narrowStorage(string)[bytes] = 0;
  return string;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

String* build(std::u16string_view units) {
  const bool wide =
      std::any_of(units.begin(), units.end(), [](char16_t unit) { return unit >= 0x100; });
  String* string = allocate(units.size(), wide);
  if (wide) {
    std::memcpy(static_cast<void*>(string + 1), units.data(), units.size() * sizeof(char16_t));
  } else {
    std::transform(units.begin(), units.end(), narrowStorage(string),
                   [](char16_t unit) { return static_cast<std::uint8_t>(unit); });
  }
  return string;
}

String* build(std::string_view utf8) {
  if (!isAscii(utf8)) return build(toUtf16(utf8).units);
  String* string = allocate(utf8.size(), false);
  if (!utf8.empty()) std::memcpy(narrowStorage(string), utf8.data(), utf8.size());
  return string;
}

}  // namespace

Class stringClass() {
  static const Class type = classNamed("NSString");
  return type;
}

String* makeString(std::string_view utf8) {
  String* string = build(utf8);
  born(string, stringClass());
  return string;
}

String* makeString(const char16_t* units, std::size_t length) {
  String* string = build(std::u16string_view(units, length));
  born(string, stringClass());
  return string;
}

String* makeNarrowString(const std::uint8_t* units, std::size_t length) {
  String* string = allocate(length, false);
  if (length > 0) std::memcpy(narrowStorage(string), units, length);
  born(string, stringClass());
  return string;
}

String* makeImmortalString(std::string_view utf8) {
  String* string = build(utf8);
  string->isa = stringClass();
  string->references = Object::immortal;
  return string;
}

std::string toUtf8(id object) {
  const String* text = asString(object);
  if (text == nullptr) return {};
  if (text->wide()) return utf8FromUtf16({text->wideUnits(), text->length()});
  const std::string_view bytes(reinterpret_cast<const char*>(text->narrowUnits()), text->length());
  if (isAscii(bytes)) return std::string(bytes);
  const std::u16string units(text->narrowUnits(), text->narrowUnits() + text->length());
  return utf8FromUtf16(units);
}

bool equalStrings(const String* left, const String* right) {
  if (left == nullptr || right == nullptr) return left == right;
  // Every string is as narrow as it can be, so equal ones have the same shape.
  if (left->shape != right->shape) return false;
  const std::size_t bytes = left->wide() ? left->length() * sizeof(char16_t) : left->length();
  return std::memcmp(left->narrowUnits(), right->narrowUnits(), bytes) == 0;
}

}  // namespace simulator
