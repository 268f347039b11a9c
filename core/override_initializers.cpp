#include "core/override_initializers.hpp"

namespace hushlane {

constinit platform::Original<id(BBBehaviorOverride*, int64_t, int64_t, id)>
    originalInitWithOverrideTypeModeEffectiveIntervals;
constinit platform::Original<id(BBBehaviorOverride*, id, int64_t)>
    originalInitWithEffectiveIntervalsOverrideType;

id initWithOverrideTypeModeEffectiveIntervalsHook(BBBehaviorOverride* allocated, SEL selector,
                                                  int64_t overrideType, int64_t mode,
                                                  id effectiveIntervals) {
  return originalInitWithOverrideTypeModeEffectiveIntervals(allocated, selector, overrideType, mode,
                                                            effectiveIntervals);
}

id initWithEffectiveIntervalsOverrideTypeHook(BBBehaviorOverride* allocated, SEL selector,
                                              id effectiveIntervals, int64_t overrideType) {
  return originalInitWithEffectiveIntervalsOverrideType(allocated, selector, effectiveIntervals,
                                                        overrideType);
}

}  // namespace hushlane
