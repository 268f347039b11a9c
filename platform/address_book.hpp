// The address book. Every `Ref` belongs to the caller; "none" is null. Records are good while
// their address book is.
#pragma once

#include "platform/ref.hpp"

namespace hushlane::platform {

Ref<ABAddressBook> openAddressBook() noexcept;

// Asks for access, and the user if need be. Calls `completion(context, granted)` exactly once, on
// a queue of the platform, never on the caller's thread. What `context` points to must live until
// then.
using AccessCompletion = void (*)(void* context, bool granted);
void requestAccess(ABAddressBook* book, AccessCompletion completion, void* context) noexcept;

ABRecord* groupWithRecordID(ABAddressBook* book, ABRecordID id) noexcept;
Ref<NSArray> allGroups(ABAddressBook* book) noexcept;
Ref<NSArray> membersOfGroup(ABRecord* group) noexcept;

ABRecordID recordID(ABRecord* record) noexcept;
Ref<NSString> compositeName(ABRecord* record) noexcept;
Ref<ABMultiValue> phoneNumbers(ABRecord* person) noexcept;
Ref<ABMultiValue> emailAddresses(ABRecord* person) noexcept;

CFIndex count(ABMultiValue* values) noexcept;
Ref<NSString> valueAtIndex(ABMultiValue* values, CFIndex index) noexcept;
Ref<NSArray> allValues(ABMultiValue* values) noexcept;

}  // namespace hushlane::platform
