// NSDate, NSCalendar and NSDateComponents.
#include <date/date.h>

#include <limits>

#include "simulator/context/context.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/foundation/objects.hpp"

namespace simulator {
namespace {

constexpr NSUInteger weekdayUnit = 512;
constexpr NSInteger undefinedComponent = std::numeric_limits<NSInteger>::max();

// The Gregorian calendar in the phone's time zone; it asks the clock, so it holds nothing itself.
struct Calendar : Object {
  static constexpr const char* platformClass = "NSCalendar";
};

struct DateComponents : Object {
  static constexpr const char* platformClass = "NSDateComponents";

  NSInteger weekday = undefinedComponent;  // 1 is Sunday
};

double deviceNow() { return Clock::sinceReferenceDate(Context::current().clock.now()); }

id currentCalendar(Class self, SEL) {
  if (failsNow(Fault::currentCalendar)) return nullptr;
  return objc_autorelease(make<Calendar>(self));
}

NSInteger weekdayOf(const Date* date) {
  const auto moment = Clock::fromReferenceDate(date->sinceReferenceDate);
  const auto local = Context::current().clock.local(moment);
  return date::weekday(date::floor<date::days>(local)).c_encoding() + 1;
}

id componentsFromDate(Calendar*, SEL, NSUInteger units, id moment) {
  const Date* const date = as<Date>(moment);
  if (date == nullptr) {
    throw PlatformException("NSInvalidArgumentException",
                            "-[NSCalendar components:fromDate:]: no date was given");
  }
  auto* components = make<DateComponents>();
  if ((units & weekdayUnit) != 0) components->weekday = weekdayOf(date);
  return objc_autorelease(components);
}

}  // namespace

Date* makeDate(double sinceReferenceDate) {
  auto* date = make<Date>();
  date->sinceReferenceDate = sinceReferenceDate;
  return date;
}

void defineDates() {
  defineClass<Date>()
      .classMethod(
          "date", +[](Class, SEL) { return objc_autorelease(makeDate(deviceNow())); })
      .method(
          "init", +[](Date* self, SEL) {
            self->sinceReferenceDate = deviceNow();
            return self;
          });

  defineClass<DateComponents>().method(
      "weekday", +[](DateComponents* self, SEL) { return self->weekday; });

  defineClass<Calendar>()
      .classMethod("currentCalendar", &currentCalendar)
      .method("components:fromDate:", &componentsFromDate);
}

}  // namespace simulator
