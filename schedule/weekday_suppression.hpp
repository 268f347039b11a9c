// Keeps the scheduled Do Not Disturb off on the weekdays that the user chose.
//
// Weekdays are those of the user's current calendar and time zone, numbered 1 to 7. A moment
// belongs to its own weekday, also in a period that began the evening before. Any thread; no state.
#pragma once

#include "core/extension_state.hpp"

namespace hushlane {

extern IMP originalIsActiveForDate;

// The replacement of an override's answer whether it is in force at a moment: no on a suppressed
// weekday, else the platform's answer. It serves every override alike. A missing moment is handed
// to the platform as it is.
BOOL isActiveForDateHook(id behaviorOverride, SEL selector, NSDate* moment);

// Whether the schedule is suppressed on the weekday so many days after today. Meant for 0 to 7: a
// sum of today's weekday and the argument outside 1 to 14 is no weekday, and gives false. The sum
// saturates at the limits of a 32-bit integer, so no argument overflows or wraps into the week.
extern "C" HUSHLANE_EXPORT bool shouldSchedulerBeSuppressed(NSInteger daysFromToday);

}  // namespace hushlane
