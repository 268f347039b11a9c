// The address book. Every `Ref` belongs to the caller; "none" is null. Records are good while
// their address book is.
#pragma once

#include "platform/ref.hpp"

namespace hushlane::platform {

inline Ref<ABAddressBook> openAddressBook() noexcept {
  return adopt(ABAddressBookCreateWithOptions(nullptr, nullptr));
}

// Asks for access, and the user if need be. Calls `completion(context, granted)` exactly once, on
// a queue of the platform, never on the caller's thread. What `context` points to must live until
// then.
using AccessCompletion = void (*)(void* context, bool granted);
void requestAccess(ABAddressBook* book, AccessCompletion completion, void* context) noexcept;

inline ABRecord* groupWithRecordID(ABAddressBook* book, ABRecordID id) noexcept {
  return ABAddressBookGetGroupWithRecordID(book, id);
}
inline Ref<NSArray> allGroups(ABAddressBook* book) noexcept {
  return adopt(ABAddressBookCopyArrayOfAllGroups(book));
}
inline Ref<NSArray> membersOfGroup(ABRecord* group) noexcept {
  return adopt(ABGroupCopyArrayOfAllMembers(group));
}

inline ABRecordID recordID(ABRecord* record) noexcept { return ABRecordGetRecordID(record); }
inline Ref<NSString> compositeName(ABRecord* record) noexcept {
  return adopt(ABRecordCopyCompositeName(record));
}
inline Ref<ABMultiValue> phoneNumbers(ABRecord* person) noexcept {
  return adopt(static_cast<ABMultiValue*>(ABRecordCopyValue(person, kABPersonPhoneProperty)));
}
inline Ref<ABMultiValue> emailAddresses(ABRecord* person) noexcept {
  return adopt(static_cast<ABMultiValue*>(ABRecordCopyValue(person, kABPersonEmailProperty)));
}

inline CFIndex count(ABMultiValue* values) noexcept { return ABMultiValueGetCount(values); }
inline Ref<NSString> valueAtIndex(ABMultiValue* values, CFIndex index) noexcept {
  return adopt(static_cast<NSString*>(ABMultiValueCopyValueAtIndex(values, index)));
}
inline Ref<NSArray> allValues(ABMultiValue* values) noexcept {
  return adopt(ABMultiValueCopyArrayOfAllValues(values));
}

}  // namespace hushlane::platform
