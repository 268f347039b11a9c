// The settings' integer and boolean readings of any value, through a preferences file and a reload,
// against the C library's own. The first byte chooses the kind of value.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "simulator/foundation/objects.hpp"
#include "simulator/foundation/property_list.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using namespace simulator;

struct Readings {
  std::int32_t integer;
  bool boolean;
};

template <class T>
T valueOf(fuzz::Bytes bytes) {
  T value{};
  std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
  return value;
}

template <class T>
std::int32_t clamped(T value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp(value, T{Limits::min()}, T{Limits::max()}));
}

Readings expectedOfText(const std::string& text) {
  const char* rest = text.c_str();
  const std::int32_t integer = clamped(std::strtoll(rest, nullptr, 10));
  while (std::isspace(static_cast<unsigned char>(*rest)) != 0) ++rest;
  if (*rest == '+' || *rest == '-') ++rest;
  rest += std::strspn(rest, "0");
  return {integer, *rest != '\0' && std::strchr("YyTt123456789", *rest) != nullptr};
}

// What the settings are to read; nothing for a value that has no reading.
std::optional<Readings> expected(const Object* value) {
  const id object = const_cast<Object*>(value);
  if (as<String>(object, "NSString") != nullptr) return expectedOfText(toUtf8(object));
  const auto* const number = as<Number>(object, "NSNumber");
  if (number == nullptr) return std::nullopt;
  if (number->kind == Number::Kind::real) {
    return Readings{std::isnan(number->real) ? 0 : clamped(number->real), number->real != 0};
  }
  return Readings{static_cast<std::int32_t>(number->integer), number->integer != 0};
}

Owned<Object> madeOf(fuzz::Bytes bytes) {
  const std::uint8_t kind = bytes[0];
  const fuzz::Bytes rest = bytes.subspan(1);
  const std::string text(rest.begin(), rest.end());
  switch (kind) {
    case 'i':
      return own<Object>(makeInteger(valueOf<std::int64_t>(rest)));
    case 'r':
      return own<Object>(makeReal(valueOf<double>(rest)));
    case 'b':
      return own<Object>(makeBoolean(text.size() % 2 != 0));
    case 'd':
      return own<Object>(makeData({rest.begin(), rest.end()}));
    case 'l':
      return own<Object>(makeArray());
    default:  // a list holds no text with a null character
      return own<Object>(makeString(text.substr(0, text.find('\0'))));
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& phone = fuzz::PhoneWithLibrary::the();
  if (size == 0) return 0;
  const AutoreleasePool pool;
  const auto value = madeOf({data, size});
  const auto preferences = own(makeDictionary());
  for (const char* key : {"maxNumOfDigitsToCompare", "schedulerWeekday_4"}) {
    store(preferences.get(), own(makeString(key)).get(), value.get());
  }
  savePropertyList(phone.device.preferences.file(settingsDomain), preferences.get(),
                   PropertyListForm::binary);
  phone.device.post("org.mernwick.hushlane.reloadsettings");
  phone.device.log.take();

  const auto readings = expected(value.get());
  const std::int64_t integer = phone.library.value<std::int64_t>("maxNumOfDigitsToCompare");
  fuzz::require(integer == (readings ? readings->integer : 7), "the integer reading");
  const auto* const days =
      as<Array>(phone.library.value<id>("daysForSuppressingScheduler"), "NSArray");
  const bool suppressed = readings && !readings->boolean;
  fuzz::require(days->items.size() == (suppressed ? 1 : 0), "the boolean reading");
  return 0;
}
