// What the AddressBook framework says of a group, read with the functions that the library takes.
#pragma once

#include <string>
#include <vector>

#include "simulator/foundation/objects.hpp"

namespace tests {

// "NAME phones emails" for each member; the emails that have a value.
inline std::vector<std::string> membersOf(ABRecordRef group) {
  using namespace simulator;
  std::vector<std::string> texts;
  const auto members = own(header(ABGroupCopyArrayOfAllMembers(group)));
  if (!members) return texts;
  for (const id item : as<Array>(members.get())->items) {
    auto* const member = static_cast<ABRecordRef>(item);
    std::string& text = texts.emplace_back(describe(own(ABRecordCopyCompositeName(member)).get()));
    const auto copy = [=](int property) { return own(ABRecordCopyValue(member, property)); };
    const auto phones = copy(kABPersonPhoneProperty);
    const auto emails = copy(kABPersonEmailProperty);
    auto* const list = static_cast<ABMultiValueRef>(phones.get());
    for (CFIndex i = 0; i < ABMultiValueGetCount(list); ++i) {
      text += " " + describe(own(ABMultiValueCopyValueAtIndex(list, i)).get());
    }
    const auto all =
        own(ABMultiValueCopyArrayOfAllValues(static_cast<ABMultiValueRef>(emails.get())));
    if (!all) continue;
    for (const id email : as<Array>(all.get())->items) text += " " + describe(email);
  }
  return texts;
}

}  // namespace tests
