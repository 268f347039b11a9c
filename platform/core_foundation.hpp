// CoreFoundation, as far as the library uses it: preferences and Darwin notifications.
#pragma once

#include "platform/runtime.hpp"

namespace hushlane::platform {

// The keys that the domain holds for the current user on any host; null when there are none or
// they can't be had.
Ref<NSArray> preferencesKeyList(NSString* domain);

// The values of those keys that have one; null on failure.
Ref<NSDictionary> preferencesValues(NSArray* keys, NSString* domain);

// Calls `callback` on the host's main run loop for each posting of the name on the device, from now
// on and for ever. Nothing is observed when the name is null.
void observeDarwinNotification(NSString* name, CFNotificationCallback callback,
                               CFNotificationSuspensionBehavior behavior);

}  // namespace hushlane::platform
