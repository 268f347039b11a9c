// The settings' integer and boolean readings of any value, through a preferences file and a reload,
// against the C library's own. The first byte chooses the kind of value.

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "simulator/foundation/objects.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using namespace simulator;

struct Readings {
  std::int32_t integer;
  bool boolean;
};

template <class T>
std::int32_t clamped(T value) {
  return static_cast<std::int32_t>(std::clamp(value, T{INT32_MIN}, T{INT32_MAX}));
}

Readings expectedOfText(const std::string& text) {
  const char* rest = text.c_str();
  const std::int32_t integer = clamped(std::strtoll(rest, nullptr, 10));
  while (std::isspace(static_cast<unsigned char>(*rest)) != 0) ++rest;
  if (*rest == '+' || *rest == '-') ++rest;
  rest += std::strspn(rest, "0");
  return {integer, *rest != '\0' && std::strchr("YyTt123456789", *rest) != nullptr};
}

// A value and what the settings are to read; nothing when it has no reading.
std::pair<Owned<Object>, std::optional<Readings>> caseOf(std::uint8_t kind, fuzz::Bytes rest) {
  // A list holds no text with a null character.
  const std::string text(rest.begin(), std::find(rest.begin(), rest.end(), 0));
  std::int64_t integer = 0;
  std::memcpy(&integer, rest.data(), std::min(sizeof integer, rest.size()));
  const auto real = std::bit_cast<double>(integer);
  switch (kind) {
    case 'i':
      return {own<Object>(makeInteger(integer)), {{std::int32_t(integer), integer != 0}}};
    case 'r':
      return {own<Object>(makeReal(real)), {{std::isnan(real) ? 0 : clamped(real), real != 0}}};
    case 'd':
      return {own<Object>(makeData({rest.begin(), rest.end()})), {}};
    case 'l':
      return {own<Object>(makeArray()), {}};
    default:
      return {own<Object>(makeString(text)), expectedOfText(text)};
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& phone = fuzz::PhoneWithLibrary::the();
  if (size == 0) return 0;
  const AutoreleasePool pool;
  const auto [value, expected] = caseOf(data[0], {data + 1, size - 1});
  for (const char* key : {"maxNumOfDigitsToCompare", "schedulerWeekday_4"}) {
    phone.device.preferences.set(settingsDomain, key, value.get());
  }
  phone.device.post("org.mernwick.hushlane.reloadsettings");
  phone.device.log.take();

  const std::int64_t integer = phone.library.value<std::int64_t>("maxNumOfDigitsToCompare");
  fuzz::require(integer == (expected ? expected->integer : 7), "the integer reading");
  const auto* const days = as<Array>(phone.library.value<id>("daysForSuppressingScheduler"));
  const bool suppressed = expected && !expected->boolean;
  fuzz::require(days->items.size() == (suppressed ? 1 : 0), "the boolean reading");
  return 0;
}
