#include "core/do_not_disturb.hpp"

#include "core/extension_state.hpp"

namespace hushlane {

constinit IMP originalActiveBehaviorOverrideTypesChangedSource = nullptr;
constinit IMP originalActiveBehaviorOverrideTypesChanged = nullptr;

namespace {

void recordActiveOverrideTypes(NSUInteger types) {
  const bool active = static_cast<uint32_t>(types) != 0;
  isDNDActive.store(active);
  platform::log<"HL: DnD state changed to %@">(active);
}

}  // namespace

void activeBehaviorOverrideTypesChangedSourceHook(id gateway, SEL selector, NSUInteger types,
                                                  NSUInteger source) {
  platform::call<void>(originalActiveBehaviorOverrideTypesChangedSource, gateway, selector, types,
                       source);
  recordActiveOverrideTypes(types);
}

void activeBehaviorOverrideTypesChangedHook(id gateway, SEL selector, NSUInteger types) {
  platform::call<void>(originalActiveBehaviorOverrideTypesChanged, gateway, selector, types);
  recordActiveOverrideTypes(types);
}

}  // namespace hushlane
