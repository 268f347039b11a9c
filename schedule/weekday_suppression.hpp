// Keeps the scheduled Do Not Disturb off on the weekdays that the user chose.
//
// Weekdays are those of the user's current calendar and time zone, numbered 1 to 7. A moment
// belongs to its own weekday, also in a period that began the evening before. Any thread; no state.
#pragma once

#include "platform/substrate.hpp"

namespace hushlane {

extern constinit platform::Original<BOOL(BBBehaviorOverride*, NSDate*)> originalIsActiveForDate;

// The replacement of an override's answer whether it is in force at a moment: no on a suppressed
// weekday, else the platform's answer. It serves every override alike. A missing moment is handed
// to the platform as it is.
BOOL isActiveForDateHook(BBBehaviorOverride* behaviorOverride, SEL selector, NSDate* moment);

}  // namespace hushlane
