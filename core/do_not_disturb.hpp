// Tracks whether Do Not Disturb is on, by listening in on the settings gateway.
//
// The gateway has two methods through which it learns of a change. Each replacement lets the
// gateway handle the change first, so that whatever this sets off still sees the previous state;
// then it records in `isDNDActive` whether any override is active, and always logs that. On
// whatever thread the host calls; `types` is a bit set, of which only the low 32 bits count.
#pragma once

#include "platform/substrate.hpp"

namespace hushlane {

extern constinit platform::Original<void(BBSettingsGateway*, NSUInteger, NSUInteger)>
    originalActiveBehaviorOverrideTypesChangedSource;
extern constinit platform::Original<void(BBSettingsGateway*, NSUInteger)>
    originalActiveBehaviorOverrideTypesChanged;

void activeBehaviorOverrideTypesChangedSourceHook(BBSettingsGateway* gateway, SEL selector,
                                                  NSUInteger types, NSUInteger source);
void activeBehaviorOverrideTypesChangedHook(BBSettingsGateway* gateway, SEL selector,
                                            NSUInteger types);

}  // namespace hushlane
