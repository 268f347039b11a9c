#include "core/do_not_disturb.hpp"

#include "core/extension_state.hpp"

namespace hushlane {

constinit platform::Original<void(BBSettingsGateway*, NSUInteger, NSUInteger)>
    originalActiveBehaviorOverrideTypesChangedSource;
constinit platform::Original<void(BBSettingsGateway*, NSUInteger)>
    originalActiveBehaviorOverrideTypesChanged;

namespace {

void recordActiveOverrideTypes(NSUInteger types) {
  const bool active = static_cast<uint32_t>(types) != 0;
  state::isDNDActive.store(active);
  platform::log<"HL: DnD state changed to %@">(active);
}

}  // namespace

void activeBehaviorOverrideTypesChangedSourceHook(BBSettingsGateway* gateway, SEL selector,
                                                  NSUInteger types, NSUInteger source) {
  originalActiveBehaviorOverrideTypesChangedSource(gateway, selector, types, source);
  recordActiveOverrideTypes(types);
}

void activeBehaviorOverrideTypesChangedHook(BBSettingsGateway* gateway, SEL selector,
                                            NSUInteger types) {
  originalActiveBehaviorOverrideTypesChanged(gateway, selector, types);
  recordActiveOverrideTypes(types);
}

}  // namespace hushlane
