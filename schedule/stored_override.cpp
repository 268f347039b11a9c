// Reads the behaviour overrides that the platform keeps on disk: declared for everyone in
// hushlane/hushlane.h.

#include "core/extension_state.hpp"
#include "platform/bulletin_board.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

namespace {

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

}  // namespace hushlane

extern "C" id getBBBehaviorOverrideEffectiveInterval() {
  using namespace hushlane;
  using platform::constantString;
  const auto file = platform::dictionaryWithContentsOfFile(
      constantString<"/var/mobile/Library/BulletinBoard/BehaviorOverrides.plist">());
  const id stored = firstOf(platform::objectForKey(file.get(), constantString<"overrides">()));
  const id interval = firstOf(platform::effectiveIntervals(unarchive(stored)));
  return platform::autorelease(platform::retain(interval));
}
