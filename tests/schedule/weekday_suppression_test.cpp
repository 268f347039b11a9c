// The schedule, asked through the override's replaced method and the exported function, and held
// against a calculation of its own that knows nothing of calendars but the modulo.

#include <date/date.h>
#include <fmt/format.h>

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
};

TEST_F(WeekdaySuppressionTest, AgreesWithANaiveCalculationAtEveryMinuteOfAWeek) {
  phone().clock.setTimeZone("Asia/Tokyo");
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

TEST_F(WeekdaySuppressionTest, WritesThreeLinesForEachQuestion) {
  phone().bulletinBoard.setSchedule(DailyPeriod{22h, 7h});
  set("schedulerWeekday_3", false);
  start();
  const struct {
    std::chrono::hours sinceSunday;
    bool platform, active;
    Texts lines;
  } rows[] = {{48h + 23h, true, false, {"3", "suppressed, returning NO"}},
              {48h + 12h, false, false, {"3", "suppressed, returning NO"}},
              {48h - 1h, true, true, {"2", "NOT suppressed, returning orig"}},
              {48h - 3h, false, false, {"2", "NOT suppressed, returning orig"}}};
  for (const auto& row : rows) {
    const auto ask = [&] { return activeAt(sunday + row.sinceSunday); };
    EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(row.active, Texts{})));
    debugLogging(true);
    const Texts lines = {std::string("HL: original active check: ") + (row.platform ? "y" : "n"),
                         "HL: checking for weekday " + row.lines[0],
                         "HL: day should be " + row.lines[1]};
    EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(row.active, lines)));
    debugLogging(false);
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
  for (const std::int64_t kind : {0, 2}) {
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

// Today's weekday and the argument are added, and carried into the next week once. The log shows
// the argument's low 32 bits, and a sum that fits into as many.
TEST_F(WeekdaySuppressionTest, AnswersForTheDaysAfterToday) {
  constexpr long most = std::numeric_limits<long>::max();
  constexpr long least = std::numeric_limits<long>::min();
  constexpr int greatest = std::numeric_limits<int>::max();
  const struct {
    int today;
    long days;
    int shown, weekday;
  } rows[] = {{7, 0, 0, 7},
              {7, 1, 1, 1},
              {7, 7, 7, 7},
              {7, 8, 8, 8},
              {1, -1, -1, 0},
              {1, 13, 13, 7},
              {3, 4, 4, 7},
              {3, -3, -3, 0},
              {7, -9, -9, -2},
              {4, most, -1, greatest},
              {7, most - 7, -8, greatest},
              {7, (1L << 31) + 1, -greatest, greatest},
              {1, (1L << 32) + 7, 7, greatest},
              {4, least, 0, std::numeric_limits<int>::min()}};
  for (const auto& row : rows) {
    phone().setLocalTime(sunday + date::days(row.today - 1) + 12h);
    for (int listed = 1; listed <= 7; ++listed) {
      suppress(1u << (listed - 1));
      restart();
      const auto ask = [&] { return suppressed(row.days); };
      EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(listed == row.weekday, Texts{})));
      debugLogging(true);
      const std::string line = fmt::format(
          "HL: checking for suppression {} days from today; today's weekday is number {}, checking "
          "weekdat: {}, suppressed days array is: (\n    {}\n)",
          row.shown, row.today, row.weekday, listed);
      EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(listed == row.weekday, Texts{line})));
    }
  }
  phone().preferences.clear(simulator::settingsDomain);
  restart();
  EXPECT_FALSE(suppressed(0)) << "without any list";
}

}  // namespace
}  // namespace tests
