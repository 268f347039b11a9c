// The schedule, asked through the override's replaced method and the exported function, and held
// against a calculation of its own that knows nothing of calendars but the modulo.

#include <cstdint>
#include <limits>
#include <tuple>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using namespace std::chrono_literals;
using simulator::DailyPeriod;

// 2026-11-22 00:00 is a Sunday, weekday 1.
constexpr date::local_seconds sunday{date::local_days{date::year{2026} / 11 / 22}};
constexpr int minutesPerDay = 24 * 60;
constexpr int minutesPerWeek = 7 * minutesPerDay;

class WeekdaySuppressionTest : public PhoneTest {
 protected:
  void suppress(unsigned days) {  // bit 0 is weekday 1
    for (int weekday = 1; weekday <= 7; ++weekday) {
      set("schedulerWeekday_" + std::to_string(weekday), (days >> (weekday - 1) & 1) == 0);
    }
  }
  bool activeAt(date::local_seconds local) {
    return phone().bulletinBoard.scheduleActiveAt(phone().clock.instant(local));
  }
  void goTo(date::local_seconds local) { phone().setLocalTime(local); }
};

// Each moment belongs to its own day: the night that begins on a suppressed Saturday is on again
// from midnight.
TEST_F(WeekdaySuppressionTest, LetsMessagesInOnASuppressedSaturdayNight) {
  set("schedulerWeekday_7", false);
  set("schedulerWeekday_1", true);
  phone().bulletinBoard.setSchedule(DailyPeriod{22h, 7h});
  goTo(sunday - 4h);
  start();
  phone().advance(3h);
  EXPECT_FALSE(boolean("isDNDActive"));
  EXPECT_TRUE(message("+15551234567"));
  phone().advance(2h);
  EXPECT_TRUE(boolean("isDNDActive"));
  EXPECT_FALSE(message("+15551234567"));
  phone().advance(6h);
  EXPECT_TRUE(message("+15551234567"));
  EXPECT_EQ(log(), (Texts{"HL: DnD state changed to y", "HL: DnD state changed to n"}));
}

TEST_F(WeekdaySuppressionTest, AgreesWithANaiveCalculationAtEveryMinuteOfAWeek) {
  start();
  for (const DailyPeriod period : {DailyPeriod{22h, 7h}, DailyPeriod{9h, 17h + 30min}}) {
    phone().bulletinBoard.setSchedule(period);
    for (unsigned days = 0; days < 128; ++days) {
      suppress(days);
      reload();
      int wrong = 0;
      for (int minute = 0; minute < minutesPerWeek; ++minute) {
        const int day = minute / minutesPerDay;
        const int time = minute % minutesPerDay;
        const bool inside = period.from < period.to
                                ? time >= period.from.count() && time < period.to.count()
                                : time >= period.from.count() || time < period.to.count();
        const bool expected = inside && (days >> day & 1) == 0;
        wrong += activeAt(sunday + std::chrono::minutes(minute)) != expected;
      }
      ASSERT_EQ(wrong, 0) << "suppressed days " << days;
      simulator::forgetZombies();
    }
  }
}

// On the nights in which the clocks of Berlin change, every minute that passes belongs to the
// weekday and the time of day that the wall clock shows. The offsets are the zone's rule: one hour,
// or two between 01:00 UTC on the last Sundays of March and October.
TEST_F(WeekdaySuppressionTest, FollowsTheWallClockThroughClockChanges) {
  phone().clock.setTimeZone("Europe/Berlin");
  phone().bulletinBoard.setSchedule(DailyPeriod{22h, 2h + 30min});
  start();
  constexpr date::sys_seconds spring{date::sys_days{date::year{2026} / 3 / 29} + 1h};
  constexpr date::sys_seconds autumn{date::sys_days{date::year{2026} / 10 / 25} + 1h};
  for (const date::sys_seconds change : {spring, autumn}) {
    for (const unsigned days : {0u, 1u, 64u}) {
      suppress(days);
      reload();
      for (int minute = -12 * 60; minute < 12 * 60; ++minute) {
        const date::sys_seconds moment = change + std::chrono::minutes(minute);
        const bool summer = moment >= spring && moment < autumn;
        const std::int64_t wall = moment.time_since_epoch().count() / 60 + (summer ? 120 : 60);
        const int time = static_cast<int>(wall % minutesPerDay);
        const int weekday = static_cast<int>((wall / minutesPerDay + 4) % 7);  // 0 is Sunday
        const bool inside = time >= 22 * 60 || time < 2 * 60 + 30;
        EXPECT_EQ(phone().bulletinBoard.scheduleActiveAt(moment),
                  inside && (days >> weekday & 1) == 0)
            << (change == spring ? "spring" : "autumn") << ", minute " << minute << ", days "
            << days;
      }
    }
  }
}

TEST_F(WeekdaySuppressionTest, WritesThreeLinesForEachQuestion) {
  phone().bulletinBoard.setSchedule(DailyPeriod{22h, 7h});
  set("schedulerWeekday_3", false);
  start();
  const date::local_seconds tuesday = sunday + date::days(2);
  const struct {
    date::local_seconds moment;
    const char* platform;
    const char* weekday;
    bool listed;
  } rows[] = {{tuesday + 23h, "y", "3", true},
              {tuesday + 12h, "n", "3", true},
              {tuesday - 1h, "y", "2", false},
              {tuesday - 3h, "n", "2", false}};
  for (const auto& row : rows) {
    const bool active = !row.listed && *row.platform == 'y';
    const auto ask = [&] { return activeAt(row.moment); };
    debugLogging(true);
    EXPECT_EQ(answerAndLog(phone(), ask),
              (std::pair(active,
                         Texts{std::string("HL: original active check: ") + row.platform,
                               std::string("HL: checking for weekday ") + row.weekday,
                               row.listed ? "HL: day should be suppressed, returning NO"
                                          : "HL: day should be NOT suppressed, returning orig"})));
    debugLogging(false);
    EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(active, Texts{})));
  }
}

using ActiveQuestion = std::tuple<id, std::string, id>;
std::vector<ActiveQuestion> questions;
std::function<void()> meanwhile;

BOOL isActive(id override, SEL selector, id moment) {
  questions.emplace_back(override, selector->name, moment);
  meanwhile();
  return true;
}

// The platform is asked first, so what changes meanwhile is seen by the steps that follow. Neither
// the kind of the override plays a part nor whether there is a moment, which only the calendar
// minds.
TEST_F(WeekdaySuppressionTest, AsksThePlatformFirstAboutWhateverOverride) {
  substitute("BBBehaviorOverride", "isActiveForDate:", &isActive);
  start();
  const auto date = simulator::own(
      simulator::makeDate(simulator::Clock::sinceReferenceDate(phone().clock.instant(sunday))));
  meanwhile = [&] {
    suppress(1);
    reload();
    debugLogging(true);
  };
  for (const std::int64_t kind : {0, 1, 2, -1}) {
    const simulator::AutoreleasePool pool;
    const auto made = simulator::own(simulator::header(simulator::message(
        simulator::message(simulator::classNamed("BBBehaviorOverride"), "alloc"),
        "initWithOverrideType:mode:effectiveIntervals:", kind, kind + 1, id{nullptr})));
    const auto ask = [&](id moment) {
      return simulator::message<BOOL>(made.get(), "isActiveForDate:", moment);
    };
    suppress(0);
    reload();
    questions.clear();
    EXPECT_EQ(answerAndLog(phone(), [&] { return ask(date.get()); }),
              (std::pair(false, Texts{"HL: original active check: y", "HL: checking for weekday 1",
                                      "HL: day should be suppressed, returning NO"})));
    debugLogging(false);
    EXPECT_THROW(ask(nullptr), simulator::PlatformException);
    EXPECT_EQ(log(), Texts{"HL: original active check: y"});
    EXPECT_EQ(questions, (std::vector{ActiveQuestion(made.get(), "isActiveForDate:", date.get()),
                                      ActiveQuestion(made.get(), "isActiveForDate:", nullptr)}));
  }
  meanwhile = nullptr;
}

// Today's weekday and the argument are added, and carried into the next week once.
TEST_F(WeekdaySuppressionTest, AnswersForTheDaysAfterToday) {
  constexpr long most = std::numeric_limits<long>::max();
  constexpr long least = std::numeric_limits<long>::min();
  const struct {
    int today;
    long days;
    int tested;  // 0: none
  } rows[] = {{7, 0, 7},           {7, 1, 1},
              {7, 7, 7},           {7, 8, 0},
              {1, -1, 0},          {1, 13, 7},
              {1, 14, 0},          {1, 0, 1},
              {3, 4, 7},           {3, 5, 1},
              {3, -2, 1},          {3, -3, 0},
              {4, most, 0},        {4, least, 0},
              {7, most - 6, 0},    {1, (1L << 32) + 7, 0},
              {1, -(1L << 32), 0}, {5, (1L << 31) + 3, 0}};
  for (const auto& row : rows) {
    goTo(sunday + date::days(row.today - 1) + 12h);
    for (int listed = 1; listed <= 7; ++listed) {
      suppress(1u << (listed - 1));
      restart();
      EXPECT_EQ(suppressed(row.days), listed == row.tested)
          << "weekday " << row.today << " and " << row.days << " days, listed " << listed;
    }
  }
  suppress(0);
  restart();
  EXPECT_FALSE(suppressed(0));
  phone().preferences.clear(simulator::settingsDomain);
  restart();
  EXPECT_FALSE(suppressed(0)) << "without any list";
}

TEST_F(WeekdaySuppressionTest, LogsWhatItAddsUp) {
  const struct {
    long days;
    const char* shown;  // its low 32 bits
    const char* weekday;
  } rows[] = {{1, "1", "1"},
              {-9, "-9", "-2"},
              {std::numeric_limits<long>::max(), "-1", "2147483647"},
              {std::numeric_limits<long>::max() - 7, "-8", "2147483647"},
              {(1L << 31) + 1, "-2147483647", "2147483647"},
              {std::numeric_limits<long>::min(), "0", "-2147483648"}};
  goTo(sunday + date::days(6));
  suppress(1);
  start();
  EXPECT_EQ(answerAndLog(phone(), [&] { return suppressed(1); }), (std::pair(true, Texts{})));
  debugLogging(true);
  for (const auto& row : rows) {
    EXPECT_EQ(suppressed(row.days), row.days == 1);
    EXPECT_EQ(log(), Texts{std::string("HL: checking for suppression ") + row.shown +
                           " days from today; today's weekday is number 7, checking weekdat: " +
                           row.weekday + ", suppressed days array is: (\n    1\n)"});
  }
}

}  // namespace
}  // namespace tests
