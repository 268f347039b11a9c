#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "simulator/foundation/objects.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

Class numberClass() {
  static const Class type = classNamed("NSNumber");
  return type;
}

Number* makeIntegerOf(Number::Kind kind, std::int64_t value) {
  auto* number = make<Number>(numberClass());
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

double valueOf(const Number* number) {
  return number->kind == Number::Kind::real ? number->real : static_cast<double>(number->integer);
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

// Small numbers are constants, as in Foundation. Not while zombies are kept: a mistake with one of
// them shall show as with any other object.
id numberWithInt(Class, SEL, int value) {
  constexpr int smallest = -1;
  static const auto constants = [] {
    std::array<Number*, 14> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      auto* const number = new Number;
      number->isa = numberClass();
      number->references = Object::immortal;
      number->integer = smallest + static_cast<int>(i);
      numbers[i] = number;
    }
    return numbers;
  }();
  const auto place = static_cast<std::size_t>(static_cast<std::int64_t>(value) - smallest);
  if (place < constants.size() && !zombiesKept()) return constants[place];
  return objc_autorelease(makeInteger(value));
}

BOOL isEqual(Number* self, SEL, id other) {
  if (!isKindOf(other, numberClass())) return false;
  return equalNumbers(self, static_cast<Number*>(header(other)));
}

}  // namespace

Number* makeBoolean(bool value) { return makeIntegerOf(Number::Kind::boolean, value ? 1 : 0); }

Number* makeInteger(std::int64_t value) { return makeIntegerOf(Number::Kind::integer, value); }

Number* makeReal(double value) {
  auto* number = make<Number>(numberClass());
  number->kind = Number::Kind::real;
  number->real = value;
  return number;
}

void defineNumber() {
  defineClass<Number>("NSNumber", "NSObject")
      .classMethod("numberWithInt:", &numberWithInt)
      .method("boolValue", &boolValue)
      .method("intValue", &intValue)
      .method("isEqual:", &isEqual)
      .method(
          "hash",
          +[](Number* self, SEL) -> NSUInteger { return std::hash<double>()(valueOf(self)); })
      .method(
          "description",
          +[](id self, SEL) { return objc_autorelease(makeString(describe(self))); });
}

}  // namespace simulator
