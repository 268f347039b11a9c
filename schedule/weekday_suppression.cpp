#include "schedule/weekday_suppression.hpp"

#include "core/extension_state.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

constinit platform::Original<BOOL(BBBehaviorOverride*, NSDate*)> originalIsActiveForDate;

namespace {

constexpr NSInteger daysInWeek = 7;

int32_t saturated(int64_t number) {
  if (number > INT32_MAX) return INT32_MAX;
  if (number < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(number);
}

// Carried into the following week once, and no further.
int32_t weekdayAfter(NSInteger today, NSInteger days) {
  int64_t sum = 0;
  if (__builtin_add_overflow(int64_t{today}, int64_t{days}, &sum)) return INT32_MAX;
  return saturated(sum > daysInWeek ? sum - daysInWeek : sum);
}

}  // namespace

BOOL isActiveForDateHook(BBBehaviorOverride* behaviorOverride, SEL selector, NSDate* moment) {
  const bool platformAnswer = originalIsActiveForDate(behaviorOverride, selector, moment);
  debugLog<"HL: original active check: %@">(platformAnswer);
  NSNumber* const weekday =
      platform::numberWithInt(static_cast<int32_t>(platform::weekdayOf(moment)));
  debugLog<"HL: checking for weekday %@">(weekday);
  const auto suppressedDays = state::daysForSuppressingScheduler.read();
  if (platform::containsObject(suppressedDays.get(), weekday)) {
    debugLog<"HL: day should be suppressed, returning NO">();
    return false;
  }
  debugLog<"HL: day should be NOT suppressed, returning orig">();
  return platformAnswer;
}

}  // namespace hushlane

extern "C" bool shouldSchedulerBeSuppressed(NSInteger daysFromToday) {
  using namespace hushlane;
  const NSInteger today = platform::weekdayOf(platform::date());
  NSNumber* const weekday = platform::numberWithInt(weekdayAfter(today, daysFromToday));
  const auto suppressedDays = state::daysForSuppressingScheduler.read();
  debugLog<
      "HL: checking for suppression %d days from today; today's weekday is number %d, checking "
      "weekdat: %@, suppressed days array is: %@">(
      static_cast<int32_t>(daysFromToday), static_cast<int32_t>(today), weekday, suppressedDays);
  return platform::containsObject(suppressedDays.get(), weekday);
}
