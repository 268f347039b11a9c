#include "platform/core_foundation.hpp"

namespace hushlane::platform {

Ref<NSArray> preferencesKeyList(NSString* domain) {
  if (domain == nullptr) return {};
  return adopt(CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

Ref<NSDictionary> preferencesValues(NSArray* keys, NSString* domain) {
  return adopt(
      CFPreferencesCopyMultiple(keys, domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

void observeDarwinNotification(NSString* name, CFNotificationCallback callback,
                               CFNotificationSuspensionBehavior behavior) {
  const CFNotificationCenterRef center = CFNotificationCenterGetDarwinNotifyCenter();
  if (name == nullptr) return;
  CFNotificationCenterAddObserver(center, nullptr, callback, name, nullptr, behavior);
}

}  // namespace hushlane::platform
