#include "settings/group_list.hpp"

#include "platform/foundation.hpp"

namespace hushlane {

namespace {

using platform::constantString;
using platform::Ref;

Ref<NSMutableDictionary> describeGroup(ABRecord* group) {
  Ref<NSMutableDictionary> entry = platform::makeMutableDictionary();
  const Ref<NSString> name = platform::compositeName(group);
  platform::setObjectForKey(entry.get(), name ? name.get() : constantString<"">(),
                            constantString<"name">());
  platform::setObjectForKey(entry.get(), platform::numberWithInt(platform::recordID(group)),
                            constantString<"id">());
  return entry;
}

}  // namespace

Ref<NSMutableArray> listGroups(ABAddressBook* book) {
  const Ref<NSArray> groups = platform::allGroups(book);
  if (!groups) return {};
  Ref<NSMutableArray> entries = platform::makeMutableArray();
  for (ABRecord* const group : platform::Each<ABRecord>(groups.get())) {
    platform::addObject(entries.get(), describeGroup(group).get());
  }
  return entries;
}

}  // namespace hushlane
