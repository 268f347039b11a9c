#include "core/hook_table.hpp"

#include "admission/gate.hpp"
#include "core/do_not_disturb.hpp"
#include "core/override_initializers.hpp"
#include "platform/substrate.hpp"
#include "schedule/weekday_suppression.hpp"

namespace hushlane {

namespace {

constexpr char settingsGateway[] = "BBSettingsGateway";
constexpr char server[] = "BBServer";
constexpr char behaviorOverride[] = "BBBehaviorOverride";

}  // namespace

void installHookTable() {
  const platform::MethodReplacement hookTable[] = {
      {settingsGateway,
       "activeBehaviorOverrideTypesChanged:source:", activeBehaviorOverrideTypesChangedSourceHook,
       originalActiveBehaviorOverrideTypesChangedSource},
      {settingsGateway, "activeBehaviorOverrideTypesChanged:",
       activeBehaviorOverrideTypesChangedHook, originalActiveBehaviorOverrideTypesChanged},
      {server, "shouldPresentNotificationOfType:fromSenderWithDestinationID:",
       shouldPresentNotificationHook, originalShouldPresentNotification},
      {behaviorOverride, "isActiveForDate:", isActiveForDateHook, originalIsActiveForDate},
      {behaviorOverride, "initWithOverrideType:mode:effectiveIntervals:",
       initWithOverrideTypeModeEffectiveIntervalsHook,
       originalInitWithOverrideTypeModeEffectiveIntervals},
      {behaviorOverride, "initWithEffectiveIntervals:overrideType:",
       initWithEffectiveIntervalsOverrideTypeHook, originalInitWithEffectiveIntervalsOverrideType},
  };
  const char* lookedUp = nullptr;
  Class type = nullptr;
  for (const platform::MethodReplacement& row : hookTable) {
    if (row.className != lookedUp) {
      type = platform::lookUpClass(row.className);
      lookedUp = row.className;
    }
    platform::replaceMethod(type, row);
  }
}

}  // namespace hushlane
