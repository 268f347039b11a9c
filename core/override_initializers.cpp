#include "core/override_initializers.hpp"

#include "platform/runtime.hpp"

namespace hushlane {

constinit IMP originalInitWithOverrideTypeModeEffectiveIntervals = nullptr;
constinit IMP originalInitWithEffectiveIntervalsOverrideType = nullptr;

id initWithOverrideTypeModeEffectiveIntervalsHook(id allocated, SEL selector, int64_t overrideType,
                                                  int64_t mode, id effectiveIntervals) {
  return platform::call<id>(originalInitWithOverrideTypeModeEffectiveIntervals, allocated, selector,
                            overrideType, mode, effectiveIntervals);
}

id initWithEffectiveIntervalsOverrideTypeHook(id allocated, SEL selector, id effectiveIntervals,
                                              int64_t overrideType) {
  return platform::call<id>(originalInitWithEffectiveIntervalsOverrideType, allocated, selector,
                            effectiveIntervals, overrideType);
}

}  // namespace hushlane
