#include "settings/load_settings.hpp"

#include "core/extension_state.hpp"
#include "platform/core_foundation.hpp"
#include "platform/foundation.hpp"
#include "settings/sender_directory.hpp"

namespace hushlane {

namespace {

using platform::constantString;
using platform::Ref;

constexpr int64_t defaultNumOfDigitsToCompare = 7;

// What the latest load copied. Only a load looks at it.
constinit id copiedPreferences = nullptr;
constinit platform::Published<NSDictionary> preferencesDictionary(copiedPreferences);

// The domain's values, or null after the reason has been logged.
Ref<NSDictionary> copyPreferences() {
  NSString* const domain = constantString<"org.mernwick.hushlane">();
  const Ref<NSArray> keys = platform::preferencesKeyList(domain);
  if (!keys) {
    platform::log<"HL: unable to get preferences">();
    return {};
  }
  Ref<NSDictionary> values = platform::preferencesValues(keys.get(), domain);
  preferencesDictionary.publish(values);
  if (!values) platform::log<"HL: preferences dictionary error">();
  return values;
}

// Only a value that is there and reads as false switches the schedule off on its weekday.
bool isSuppressed(NSDictionary* preferences, int32_t weekday) {
  NSString* const key =
      platform::stringWithFormat(constantString<"schedulerWeekday_%d">(), weekday);
  return !platform::boolValue(platform::objectForKey(preferences, key), true);
}

Ref<NSArray> suppressedWeekdays(NSDictionary* preferences) {
  Ref<NSMutableArray> weekdays = platform::makeMutableArray();
  for (int32_t weekday = 1; weekday <= 7; ++weekday) {
    if (isSuppressed(preferences, weekday)) {
      platform::addObject(weekdays.get(), platform::numberWithInt(weekday));
    }
  }
  return weekdays;
}

void forgetPrivilegedMessageSenders() {
  state::privilegedMessageSenderIDs.publish(platform::makeMutableArray());
  state::privilegedMessageSenderPhones.publish(platform::makeMutableArray());
  state::privilegedMessageSenderEmails.publish(platform::makeMutableArray());
}

void logSettings() {
  if (!state::enableDebugLogging.load()) return;
  platform::log<
      "HL: settings are:\r\nallowedMessageGroup=%d\r\nlist of person IDs in the group: %@\r\n"
      "suppressed days for scheduler: %@\r\nlist of person phones: %@, list of person emails: %@">(
      static_cast<int32_t>(state::allowedMessageGroup.load()),
      state::privilegedMessageSenderIDs.read(), state::daysForSuppressingScheduler.read(),
      state::privilegedMessageSenderPhones.read(), state::privilegedMessageSenderEmails.read());
}

}  // namespace

void loadSettings() {
  // The loader gives no autorelease scope of its own at start-up.
  const platform::AutoreleasePool pool;
  debugLog<"HL: (re)loading settings">();
  const Ref<NSDictionary> preferences = copyPreferences();
  if (!preferences) return;
  state::allowedMessageGroup.store(platform::intValue(
      platform::objectForKey(preferences.get(), constantString<"allowedMessageGroup">()),
      allowedMessageGroupNobody));
  state::maxNumOfDigitsToCompare.store(platform::intValue(
      platform::objectForKey(preferences.get(), constantString<"maxNumOfDigitsToCompare">()),
      defaultNumOfDigitsToCompare));
  state::enableDebugLogging.store(false);
  forgetPrivilegedMessageSenders();
  if (state::allowedMessageGroup.load() >= firstGroupRecordID) cachePrivilegedMessageSenders();
  state::daysForSuppressingScheduler.publish(suppressedWeekdays(preferences.get()));
  logSettings();
}

}  // namespace hushlane
