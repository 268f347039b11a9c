// Replacements of the two initializers of a behaviour override. The replaced methods and their
// order are part of what the library is to the phone; in these two there is nothing to refine, so
// they hand everything through, both ways, and touch nothing else. On whatever thread the host
// calls; the result is owned as the initializer's own.
#pragma once

#include "platform/substrate.hpp"

namespace hushlane {

extern constinit platform::Original<id(BBBehaviorOverride*, int64_t, int64_t, id)>
    originalInitWithOverrideTypeModeEffectiveIntervals;
extern constinit platform::Original<id(BBBehaviorOverride*, id, int64_t)>
    originalInitWithEffectiveIntervalsOverrideType;

id initWithOverrideTypeModeEffectiveIntervalsHook(BBBehaviorOverride* allocated, SEL selector,
                                                  int64_t overrideType, int64_t mode,
                                                  id effectiveIntervals);
id initWithEffectiveIntervalsOverrideTypeHook(BBBehaviorOverride* allocated, SEL selector,
                                              id effectiveIntervals, int64_t overrideType);

}  // namespace hushlane
