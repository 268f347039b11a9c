// NSNumber, NSData, and the UIDs of keyed archives.
#include <cmath>
#include <limits>

#include "simulator/foundation/objects.hpp"

namespace simulator {
namespace {

Number* makeIntegerOf(Number::Kind kind, std::int64_t value) {
  auto* number = make<Number>();
  number->kind = kind;
  number->integer = value;
  return number;
}

// Cut toward zero and held to the limits of the type; not a number gives 0.
int held(double value) {
  using Limits = std::numeric_limits<int>;
  if (std::isnan(value)) return 0;
  if (value <= Limits::min()) return Limits::min();
  if (value >= Limits::max()) return Limits::max();
  return static_cast<int>(value);
}

// An integer that does not fit keeps its low 32 bits; a real is held to the limits.
int intValue(Number* self, SEL) {
  return self->kind == Number::Kind::real ? held(self->real) : static_cast<int>(self->integer);
}

BOOL boolValue(Number* self, SEL) {
  return self->kind == Number::Kind::real ? self->real != 0 : self->integer != 0;
}

// By value, whatever the kinds: a real equals an integer when it is exactly that integer.
bool equalNumbers(const Number* left, const Number* right) {
  const bool leftReal = left->kind == Number::Kind::real;
  const bool rightReal = right->kind == Number::Kind::real;
  if (leftReal && rightReal) return left->real == right->real;
  if (!leftReal && !rightReal) return left->integer == right->integer;
  const double real = leftReal ? left->real : right->real;
  const std::int64_t integer = leftReal ? right->integer : left->integer;
  constexpr double limit = 9223372036854775808.0;  // 2 to the 63rd
  return real == std::trunc(real) && real >= -limit && real < limit &&
         static_cast<std::int64_t>(real) == integer;
}

id numberWithInt(Class, SEL, int value) { return objc_autorelease(makeInteger(value)); }

BOOL isEqual(Number* self, SEL, id other) {
  const auto* number = as<Number>(other);
  return number != nullptr && equalNumbers(self, number);
}

}  // namespace

Number* makeBoolean(bool value) { return makeIntegerOf(Number::Kind::boolean, value ? 1 : 0); }

Number* makeInteger(std::int64_t value) { return makeIntegerOf(Number::Kind::integer, value); }

Number* makeReal(double value) {
  auto* number = make<Number>();
  number->kind = Number::Kind::real;
  number->real = value;
  return number;
}

Data* makeData(std::vector<std::uint8_t> bytes) {
  auto* data = make<Data>();
  data->bytes = std::move(bytes);
  return data;
}

Uid* makeUid(std::uint64_t value) {
  auto* uid = make<Uid>();
  uid->value = value;
  return uid;
}

void defineValues() {
  defineClass<Number>()
      .classMethod("numberWithInt:", &numberWithInt)
      .method("boolValue", &boolValue)
      .method("intValue", &intValue)
      .method("isEqual:", &isEqual);
  // The library asks whether there are bytes, and hands them on.
  defineClass<Data>().method(
      "bytes", +[](Data* self, SEL) -> const void* { return self->bytes.data(); });
  defineClass<Uid>();
}

}  // namespace simulator
