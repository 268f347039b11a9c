#include "core/hook_table.hpp"

#include "admission/gate.hpp"
#include "core/do_not_disturb.hpp"
#include "core/override_initializers.hpp"
#include "platform/substrate.hpp"
#include "schedule/weekday_suppression.hpp"

namespace hushlane {

namespace {

struct HookEntry {
  const char* className;
  const char* selector;
  IMP replacement;
  IMP* slot;
};

template <class R, class... Args>
IMP implementation(R (*replacement)(Args...)) {
  return reinterpret_cast<IMP>(replacement);
}

constexpr char settingsGateway[] = "BBSettingsGateway";
constexpr char server[] = "BBServer";
constexpr char behaviorOverride[] = "BBBehaviorOverride";

}  // namespace

void installHookTable() {
  const bool hostHasFeeds = NSFoundationVersionNumber >= firstFoundationWithFeeds;
  const HookEntry hookTable[] = {
      {settingsGateway, "activeBehaviorOverrideTypesChanged:source:",
       implementation(activeBehaviorOverrideTypesChangedSourceHook),
       &originalActiveBehaviorOverrideTypesChangedSource},
      {settingsGateway, "activeBehaviorOverrideTypesChanged:",
       implementation(activeBehaviorOverrideTypesChangedHook),
       &originalActiveBehaviorOverrideTypesChanged},
      {server, "shouldPresentNotificationOfType:fromSenderWithDestinationID:",
       hostHasFeeds ? implementation(shouldPresentNotificationOnHostWithFeedsHook)
                    : implementation(shouldPresentNotificationHook),
       &originalShouldPresentNotification},
      {behaviorOverride, "isActiveForDate:", implementation(isActiveForDateHook),
       &originalIsActiveForDate},
      {behaviorOverride, "initWithOverrideType:mode:effectiveIntervals:",
       implementation(initWithOverrideTypeModeEffectiveIntervalsHook),
       &originalInitWithOverrideTypeModeEffectiveIntervals},
      {behaviorOverride, "initWithEffectiveIntervals:overrideType:",
       implementation(initWithEffectiveIntervalsOverrideTypeHook),
       &originalInitWithEffectiveIntervalsOverrideType},
  };
  const char* lookedUp = nullptr;
  Class type = nullptr;
  for (const HookEntry& entry : hookTable) {
    if (entry.className != lookedUp) {
      type = platform::lookUpClass(entry.className);
      lookedUp = entry.className;
    }
    platform::replaceMethod(type, entry.selector, entry.replacement, *entry.slot);
  }
}

}  // namespace hushlane
