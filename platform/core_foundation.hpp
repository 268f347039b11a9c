// CoreFoundation, as far as the library uses it: preferences and Darwin notifications.
#pragma once

#include "platform/ref.hpp"

namespace hushlane::platform {

// The keys that the domain holds for the current user on any host; null when there are none or
// they can't be had.
inline Ref<NSArray> preferencesKeyList(NSString* domain) noexcept {
  if (domain == nullptr) return {};
  return adopt(CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

// The values of those keys that have one; null on failure.
inline Ref<NSDictionary> preferencesValues(NSArray* keys, NSString* domain) noexcept {
  return adopt(
      CFPreferencesCopyMultiple(keys, domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

// Calls `callback` on the host's main run loop for each posting of the name on the device, from now
// on and for ever. Nothing is observed when the name is null.
inline void observeDarwinNotification(NSString* name, CFNotificationCallback callback,
                                      CFNotificationSuspensionBehavior behavior) noexcept {
  const CFNotificationCenterRef center = CFNotificationCenterGetDarwinNotifyCenter();
  if (name == nullptr) return;
  CFNotificationCenterAddObserver(center, nullptr, callback, name, nullptr, behavior);
}

}  // namespace hushlane::platform
