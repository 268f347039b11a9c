// When the scheduled Do Not Disturb is in force: at some moment, and in the coming days.
#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "home_screen/session/session.hpp"

namespace home_screen {

// What the library says of it.
struct ScheduleAnswer {
  bool active = false;     // the answer
  bool phoneSays = false;  // the phone's own answer, for any override
  int weekday = 0;         // 1 to 7 as the library counts it; 0 when no override was there to ask

  bool suppressed() const { return phoneSays && !active; }
};
ScheduleAnswer askAboutSchedule(Session& session, std::chrono::sys_seconds moment);
ScheduleAnswer askAboutSchedule(Session& session);  // now

// The next moment from now on, within a week, at which it is in force.
std::optional<LocalTime> nextNight(Session& session);

// "Sunday" for 1 to "Saturday" for 7.
std::string weekdayName(int weekday);

// "22:00-07:00", or several with commas; "" when no override is stored, or none with a period;
// `unknownPart` where that is not known.
std::string scheduleText(const Session& session);

struct Calendar {
  // Minutes of each kind.
  struct Tally {
    int on = 0;
    int suppressed = 0;
    int off = 0;

    int all() const { return on + suppressed + off; }
  };
  struct Day {
    LocalTime date;
    std::array<Tally, 48> halfHours;
    Tally whole;
  };
  struct Event {
    LocalTime at;
    std::string what;
    std::string why;
  };

  std::string schedule;  // "" when none is stored
  Lines suppressedDays;
  std::string timeZone;
  LocalTime now;
  bool activeNow = false;
  std::vector<Day> days;           // today first
  std::vector<Event> events;       // from now on
  std::vector<PhonePart> unknown;  // what the phone's backup lacks
};

// Of so many days, 1 or more. The library is asked about every minute, through the phone's
// overrides.
Calendar askCalendar(Session& session, int days);

}  // namespace home_screen
