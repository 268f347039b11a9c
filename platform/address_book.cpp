#include "platform/address_book.hpp"

namespace hushlane::platform {

namespace {

// The completion as a block literal, laid out by hand so that a compiler without blocks builds it
// too. Its captures are plain pointers, so the platform's copy of it needs no help from us.
struct AccessBlock : BlockLiteral {
  AccessCompletion completion;
  void* context;
};

constexpr BlockDescriptor accessBlockDescriptor = {0, sizeof(AccessBlock)};

void invokeAccessBlock(const AccessBlock* block, bool granted, CFErrorRef) {
  block->completion(block->context, granted);
}

template <class T>
Ref<T> property(ABRecord* person, ABPropertyID id) noexcept {
  return adopt(static_cast<T*>(ABRecordCopyValue(person, id)));
}

}  // namespace

Ref<ABAddressBook> openAddressBook() noexcept {
  return adopt(ABAddressBookCreateWithOptions(nullptr, nullptr));
}

void requestAccess(ABAddressBook* book, AccessCompletion completion, void* context) noexcept {
  AccessBlock block;
  block.isa = &_NSConcreteStackBlock;
  block.flags = 0;
  block.reserved = 0;
  block.invoke = reinterpret_cast<IMP>(&invokeAccessBlock);
  block.descriptor = &accessBlockDescriptor;
  block.completion = completion;
  block.context = context;
  ABAddressBookRequestAccessWithCompletion(book, &block);
}

ABRecord* groupWithRecordID(ABAddressBook* book, ABRecordID id) noexcept {
  return ABAddressBookGetGroupWithRecordID(book, id);
}

Ref<NSArray> allGroups(ABAddressBook* book) noexcept {
  return adopt(ABAddressBookCopyArrayOfAllGroups(book));
}

Ref<NSArray> membersOfGroup(ABRecord* group) noexcept {
  return adopt(ABGroupCopyArrayOfAllMembers(group));
}

ABRecordID recordID(ABRecord* record) noexcept { return ABRecordGetRecordID(record); }

Ref<NSString> compositeName(ABRecord* record) noexcept {
  return adopt(ABRecordCopyCompositeName(record));
}

Ref<ABMultiValue> phoneNumbers(ABRecord* person) noexcept {
  return property<ABMultiValue>(person, kABPersonPhoneProperty);
}

Ref<ABMultiValue> emailAddresses(ABRecord* person) noexcept {
  return property<ABMultiValue>(person, kABPersonEmailProperty);
}

CFIndex count(ABMultiValue* values) noexcept { return ABMultiValueGetCount(values); }

Ref<NSString> valueAtIndex(ABMultiValue* values, CFIndex index) noexcept {
  return adopt(static_cast<NSString*>(ABMultiValueCopyValueAtIndex(values, index)));
}

Ref<NSArray> allValues(ABMultiValue* values) noexcept {
  return adopt(ABMultiValueCopyArrayOfAllValues(values));
}

}  // namespace hushlane::platform
