#include "schedule/stored_override.hpp"

#include "platform/bulletin_board.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

namespace {

using platform::constantString;

// Nothing for an empty list, and for what is no list.
id firstOf(id list) {
  if (!platform::isArray(list)) return nullptr;
  NSArray* const array = static_cast<NSArray*>(list);
  return platform::count(array) == 0 ? nullptr : platform::objectAtIndex(array, 0);
}

id unarchive(id stored) {
  if (!platform::isData(stored)) return nullptr;
  return platform::unarchiveObjectWithData(static_cast<NSData*>(stored));
}

}  // namespace

id getBBBehaviorOverrideEffectiveInterval() {
  const auto file = platform::dictionaryWithContentsOfFile(
      constantString<"/var/mobile/Library/BulletinBoard/BehaviorOverrides.plist">());
  const id stored = firstOf(platform::objectForKey(file.get(), constantString<"overrides">()));
  const id interval = firstOf(platform::effectiveIntervals(unarchive(stored)));
  return platform::autorelease(platform::retain(interval));
}

}  // namespace hushlane
