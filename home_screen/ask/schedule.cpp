#include "home_screen/ask/schedule.hpp"

#include <algorithm>

#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/mode.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

using std::chrono::days;
using std::chrono::minutes;

void add(const ScheduleAnswer& answer, Calendar::Tally& tally) {
  ++(answer.active ? tally.on : answer.suppressed() ? tally.suppressed : tally.off);
}

void count(LocalTime local, const ScheduleAnswer& answer, std::vector<Calendar::Day>& all) {
  const LocalTime date = std::chrono::floor<days>(local);
  if (all.empty() || all.back().date < date) all.push_back({date, {}, {}});
  Calendar::Day& day = all.back();
  add(answer, day.halfHours[static_cast<std::size_t>((local - date) / minutes(30))]);
  add(answer, day.whole);
}

// Why one answer follows another.
std::string reasonBetween(const ScheduleAnswer& before, const ScheduleAnswer& after) {
  if (before.phoneSays != after.phoneSays) {
    return after.phoneSays ? "the schedule begins" : "the schedule ends";
  }
  return "it is " + weekdayName(after.weekday) +
         (after.active ? ", which is not suppressed" : ", which is suppressed");
}

}  // namespace

ScheduleAnswer askAboutSchedule(Session& session, std::chrono::sys_seconds moment) {
  ScheduleAnswer answer;
  const Lines log = session.logOf(
      [&] { answer.active = session.device().bulletinBoard.scheduleActiveAt(moment); });
  answer.phoneSays = textAfter(log, "HL: original active check: y").has_value();
  if (const auto weekday = textAfter(log, "HL: checking for weekday ")) {
    answer.weekday = static_cast<int>(parseInteger(*weekday).value_or(0));
  }
  return answer;
}

ScheduleAnswer askAboutSchedule(Session& session) {
  return askAboutSchedule(session, session.device().clock.now());
}

// It begins where a period does, or at a midnight.
std::optional<LocalTime> nextNight(Session& session) {
  const simulator::Clock& clock = session.device().clock;
  std::vector<minutes> times = session.device().bulletinBoard.scheduleBoundaries();
  if (times.empty()) return std::nullopt;
  times.push_back(minutes(0));
  std::ranges::sort(times);
  const LocalTime today = std::chrono::floor<days>(clock.local(clock.now()));
  for (days day(0); day <= days(7); ++day) {
    for (const minutes time : times) {
      const auto moment = clock.instant(today + day + time);
      if (moment < clock.now()) continue;
      if (askAboutSchedule(session, moment).active) return clock.local(moment);
    }
  }
  return std::nullopt;
}

std::string weekdayName(int weekday) {
  static constexpr const char* names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
  return weekday >= 1 && weekday <= 7 ? names[weekday - 1] : "day " + std::to_string(weekday);
}

std::string scheduleText(const Session& session) {
  if (!session.knows(PhonePart::schedule)) return unknownPart;
  const auto boundaries = session.device().bulletinBoard.scheduleBoundaries();
  std::string text;
  for (std::size_t i = 0; i + 1 < boundaries.size(); i += 2) {
    text += (text.empty() ? "" : ", ") +
            simulator::toText(simulator::DailyPeriod{boundaries[i], boundaries[i + 1]});
  }
  return text;
}

Calendar askCalendar(Session& session, int numberOfDays) {
  const simulator::Clock& clock = session.device().clock;
  Calendar calendar;
  calendar.schedule = scheduleText(session);
  for (const int day : suppressedWeekdays(session)) {
    calendar.suppressedDays.push_back(weekdayName(day));
  }
  if (!session.knows(PhonePart::settings)) calendar.suppressedDays = {unknownPart};
  calendar.unknown = session.unknown();
  calendar.timeZone = clock.timeZone();
  calendar.now = clock.local(clock.now());
  calendar.activeNow = askAboutSchedule(session).active;

  const LocalTime today = std::chrono::floor<days>(calendar.now);
  const auto end = clock.instant(today + days(numberOfDays));
  std::optional<ScheduleAnswer> before;
  LocalTime expected;
  const auto start = clock.instant(today);
  Steps steps(session.showProgress, "minutes",
              static_cast<std::size_t>((end - start) / minutes(1)));
  for (auto moment = start; moment < end; moment += minutes(1)) {
    steps.next();
    const LocalTime local = clock.local(moment);
    const ScheduleAnswer answer = askAboutSchedule(session, moment);
    count(local, answer, calendar.days);
    const bool coming = before && moment >= clock.now();
    if (coming && local != expected) {
      calendar.events.push_back(
          {expected, "clocks",
           (local > expected ? "forward to " : "back to ") + formatTime("%R", local)});
    }
    if (coming && answer.active != before->active) {
      calendar.events.push_back(
          {local, answer.active ? "on" : "off", reasonBetween(*before, answer)});
    }
    before = answer;
    expected = local + minutes(1);
  }
  return calendar;
}

}  // namespace home_screen
