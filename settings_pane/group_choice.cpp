#include "platform/address_book.hpp"
#include "platform/core_foundation.hpp"
#include "platform/dispatch.hpp"
#include "platform/foundation.hpp"
#include "settings/group_list.hpp"
#include "settings_pane/abi.hpp"

#pragma GCC visibility push(default)
#include "settings_pane/group_choice.hpp"
#pragma GCC visibility pop

namespace hushlane {

namespace {

using platform::constantString;
using platform::move;
using platform::Ref;
using platform::Semaphore;

constexpr int64_t longestWait = 2'000'000'000;  // nanoseconds

// ---- The groups --------------------------------------------------------------------------------

// What a reading needs stands in a list, which the completion owns: it may come when nobody waits
// any more.
enum Part : NSUInteger { book, finished, answer };

template <class T>
T* partOf(const Ref<NSMutableArray>& reading, Part part) {
  return static_cast<T*>(platform::objectAtIndex(reading.get(), part));
}

// The address book is released before whoever waits goes on.
void completeReading(void* context, bool granted) {
  Ref<NSMutableArray> reading = platform::adopt(static_cast<NSMutableArray*>(context));
  const Ref<Semaphore> semaphore = platform::retain(partOf<Semaphore>(reading, finished));
  if (granted) {
    const Ref<NSMutableArray> groups = listGroups(partOf<ABAddressBook>(reading, book));
    platform::addObject(partOf<NSMutableArray>(reading, answer), groups.get());
  }
  reading = {};
  platform::signal(semaphore.get());
}

// The entries of all groups; null when they are not to be had in time.
Ref<NSArray> readGroups() {
  Ref<ABAddressBook> addressBook = platform::openAddressBook();
  const Ref<Semaphore> semaphore = platform::makeSemaphore();
  const Ref<NSMutableArray> answered = platform::makeMutableArray();
  Ref<NSMutableArray> reading = platform::makeMutableArray();
  if (!addressBook || !semaphore || !answered || !reading) return {};
  platform::addObject(reading.get(), addressBook.get());
  platform::addObject(reading.get(), semaphore.get());
  platform::addObject(reading.get(), answered.get());
  ABAddressBook* const asked = addressBook.get();
  addressBook = {};
  platform::requestAccess(asked, &completeReading, reading.leak());
  const dispatch_time_t limit = dispatch_time(DISPATCH_TIME_NOW, longestWait);
  const bool inTime = dispatch_semaphore_wait(semaphore.get(), limit) == 0;
  if (!inTime || platform::count(answered.get()) == 0) return {};
  return platform::retain(static_cast<NSArray*>(platform::objectAtIndex(answered.get(), 0)));
}

// ---- What is stored -----------------------------------------------------------------------------

// Nothing when it is not set.
Ref<objc_object> storedChoice() {
  NSString* const domain = constantString<"org.mernwick.hushlane">();
  const Ref<NSArray> keys = platform::preferencesKeyList(domain);
  const Ref<NSDictionary> settings =
      keys ? platform::preferencesValues(keys.get(), domain) : Ref<NSDictionary>();
  return platform::retain(
      platform::objectForKey(settings.get(), constantString<"allowedMessageGroup">()));
}

// ---- The choices -------------------------------------------------------------------------------

struct Choices {
  Ref<NSMutableArray> values = platform::makeMutableArray();
  Ref<NSMutableArray> titles = platform::makeMutableArray();

  // Both or none, so that the lists keep the same length.
  void add(id value, NSString* title) const {
    if (!values || !titles || value == nullptr || title == nullptr) return;
    platform::addObject(values.get(), value);
    platform::addObject(titles.get(), title);
  }
  void add(int32_t value, NSString* title) const { add(platform::numberWithInt(value), title); }
};

void addFixedChoices(const Choices& choices) {
  choices.add(HushlaneAllowedMessageGroupEveryone, constantString<"Everyone">());
  choices.add(HushlaneAllowedMessageGroupNobody, constantString<"Nobody">());
  choices.add(HushlaneAllowedMessageGroupFavorites, constantString<"Favourites">());
  choices.add(HushlaneAllowedMessageGroupAllContacts, constantString<"All contacts">());
}

void addGroup(const Choices& choices, NSDictionary* group) {
  const id value = platform::objectForKey(group, constantString<"id">());
  auto* name = static_cast<NSString*>(platform::objectForKey(group, constantString<"name">()));
  if (platform::length(name) == 0) {
    name = platform::stringWithFormat(constantString<"Group %d, without a name">(),
                                      static_cast<int32_t>(platform::intValue(value, 0)));
  }
  choices.add(value, name);
}

// What the library makes of a stored object, which may also be a string or a real.
NSString* titleOfStored(id stored, const Choices& choices, bool groupsAreKnown) {
  const int64_t mode = platform::intValue(stored, HushlaneAllowedMessageGroupNobody);
  const NSUInteger count = platform::count(choices.values.get());
  for (NSUInteger i = 0; i < count; ++i) {
    if (platform::intValue(platform::objectAtIndex(choices.values.get(), i), 0) != mode) continue;
    return static_cast<NSString*>(platform::objectAtIndex(choices.titles.get(), i));
  }
  NSString* const format = mode <= 0        ? constantString<"Nobody, as %d is no choice">()
                           : groupsAreKnown ? constantString<"Group %d, which is gone">()
                                            : constantString<"Group %d, by a name not known now">();
  return platform::stringWithFormat(format, static_cast<int32_t>(mode));
}

Choices readChoices() {
  Choices choices;
  addFixedChoices(choices);
  const Ref<NSArray> groups = readGroups();
  for (NSDictionary* const group : platform::Each<NSDictionary>(groups.get())) {
    addGroup(choices, group);
  }
  const Ref<objc_object> stored = storedChoice();
  if (stored && !platform::containsObject(choices.values.get(), stored.get())) {
    choices.add(stored.get(), titleOfStored(stored.get(), choices, bool(groups)));
  }
  return choices;
}

constinit NSMutableArray* latestValues = nullptr;
constinit NSMutableArray* latestTitles = nullptr;

// Whoever still looks at the list before keeps it until control is back with the app.
void publish(NSMutableArray*& place, Ref<NSMutableArray> list) {
  objc_autorelease(place);
  place = list.leak();
}

}  // namespace
}  // namespace hushlane

using namespace hushlane;

extern "C" {

void hlReadGroups() {
  Choices choices = readChoices();
  publish(latestValues, move(choices.values));
  publish(latestTitles, move(choices.titles));
}

HushlaneObject hlGroupValues() { return latestValues; }

HushlaneObject hlGroupTitles() { return latestTitles; }

}  // extern "C"
