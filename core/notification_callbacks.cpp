#include "core/notification_callbacks.hpp"

#include "core/extension_state.hpp"
#include "platform/core_foundation.hpp"
#include "platform/foundation.hpp"
#include "settings/load_settings.hpp"

namespace hushlane {

namespace {

// None of the named behaviours, which run from 1 to 4. The Darwin center ignores it and delivers
// at once.
constexpr CFNotificationSuspensionBehavior unnamedBehavior = 0;
constexpr CFNotificationSuspensionBehavior deliverImmediately = 4;

// Two callbacks with one body: whoever posts says which settings have changed, but a load reads
// them all. Each name has its own, so that the host's stack tells which of the two has come in.
void reloadSettingsCallback(CFNotificationCenterRef, void*, CFStringRef, const void*,
                            CFDictionaryRef) {
  loadSettings();
}

void weekdaySettingsChangedCallback(CFNotificationCenterRef, void*, CFStringRef, const void*,
                                    CFDictionaryRef) {
  loadSettings();
}

void manualDNDEnabledCallback(CFNotificationCenterRef, void*, CFStringRef, const void*,
                              CFDictionaryRef) {
  debugLog<"HL: got the manul dnd notification">();
  state::manualDNDEnabledTime.publish(platform::makeDate());
}

}  // namespace

void registerObservers() {
  using platform::constantString;
  using platform::observeDarwinNotification;
  observeDarwinNotification(constantString<"org.mernwick.hushlane.reloadsettings">(),
                            reloadSettingsCallback, unnamedBehavior);
  observeDarwinNotification(constantString<"org.mernwick.hushlane.weekdaysettingschanged">(),
                            weekdaySettingsChangedCallback, unnamedBehavior);
  observeDarwinNotification(constantString<"org.mernwick.hushlane.manualdndenabled">(),
                            manualDNDEnabledCallback, deliverImmediately);
}

}  // namespace hushlane
