// Replacements of the two initializers of a behaviour override. They hand everything through, both
// ways, and touch nothing else. On whatever thread the host calls; the result is owned as the
// initializer's own.
#pragma once

#include "platform/abi.hpp"

namespace hushlane {

extern IMP originalInitWithOverrideTypeModeEffectiveIntervals;
extern IMP originalInitWithEffectiveIntervalsOverrideType;

id initWithOverrideTypeModeEffectiveIntervalsHook(id allocated, SEL selector, int64_t overrideType,
                                                  int64_t mode, id effectiveIntervals);
id initWithEffectiveIntervalsOverrideTypeHook(id allocated, SEL selector, id effectiveIntervals,
                                              int64_t overrideType);

}  // namespace hushlane
