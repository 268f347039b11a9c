// NSDate, NSCalendar and NSDateComponents.
#include <functional>
#include <limits>

#include "simulator/device.hpp"
#include "simulator/faults.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/runtime/classes.hpp"

namespace simulator {
namespace {

constexpr NSUInteger weekdayUnit = 512;
constexpr NSInteger undefinedComponent = std::numeric_limits<NSInteger>::max();

// The Gregorian calendar in the phone's time zone; it asks the clock, so it holds nothing itself.
struct Calendar : Object {};

struct DateComponents : Object {
  NSInteger weekday = undefinedComponent;  // 1 is Sunday
};

double deviceNow() { return Clock::sinceReferenceDate(Device::current().clock.now()); }

id currentCalendar(Class self, SEL) {
  if (failsNow(Fault::currentCalendar)) return nullptr;
  return objc_autorelease(make<Calendar>(self));
}

NSInteger weekdayOf(const Date* date) {
  const auto moment = Clock::fromReferenceDate(date->sinceReferenceDate);
  const auto local = Device::current().clock.local(moment);
  return date::weekday(date::floor<date::days>(local)).c_encoding() + 1;
}

id componentsFromDate(Calendar*, SEL, NSUInteger units, Date* date) {
  if (date == nullptr) {
    throw PlatformException("NSInvalidArgumentException",
                            "-[NSCalendar components:fromDate:]: date cannot be nil");
  }
  auto* components = make<DateComponents>(classNamed("NSDateComponents"));
  if ((units & weekdayUnit) != 0) components->weekday = weekdayOf(date);
  return objc_autorelease(components);
}

BOOL isEqual(Date* self, SEL, id other) {
  const auto* date = as<Date>(other, "NSDate");
  return date != nullptr && date->sinceReferenceDate == self->sinceReferenceDate;
}

}  // namespace

Date* makeDate(double sinceReferenceDate) {
  auto* date = make<Date>(classNamed("NSDate"));
  date->sinceReferenceDate = sinceReferenceDate;
  return date;
}

void defineDates() {
  defineClass<Date>("NSDate", "NSObject")
      .classMethod(
          "date", +[](Class, SEL) { return objc_autorelease(makeDate(deviceNow())); })
      .method(
          "init",
          +[](Date* self, SEL) {
            self->sinceReferenceDate = deviceNow();
            return self;
          })
      .method("isEqual:", &isEqual)
      .method(
          "hash",
          +[](Date* self, SEL) -> NSUInteger {
            return std::hash<double>()(self->sinceReferenceDate);
          })
      .method(
          "description",
          +[](id self, SEL) { return objc_autorelease(makeString(describe(self))); });

  defineClass<DateComponents>("NSDateComponents", "NSObject")
      .method(
          "weekday", +[](DateComponents* self, SEL) { return self->weekday; });

  defineClass<Calendar>("NSCalendar", "NSObject")
      .classMethod("currentCalendar", &currentCalendar)
      .method("components:fromDate:", &componentsFromDate);
}

}  // namespace simulator
