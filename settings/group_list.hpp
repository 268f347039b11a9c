// The groups of an address book, for whoever lets the user choose one. Depends on `platform/`
// alone, so that the settings pane lists them with the same code.
#pragma once

#include "platform/address_book.hpp"

namespace hushlane {

// A dictionary for each group, in the platform's order: "name" (NSString, empty for a group without
// one) and "id" (NSNumber). Null when the platform gives no list.
platform::Ref<NSMutableArray> listGroups(ABAddressBook* book);

}  // namespace hushlane
