// Recognises a member of the chosen group by the trailing digits of a phone number.
#pragma once

#include "core/extension_state.hpp"

namespace hushlane {

// True when a cached phone number ends with the tail of the ID: its last `maxNumOfDigitsToCompare`
// characters, or all of it when it is shorter or the setting is negative. The ID is compared as the
// host spells it, so a tail that holds anything but digits matches nobody; nor does an empty one.
// False for an absent ID, without a line in the log. Any thread; does not wait.
extern "C" HUSHLANE_EXPORT bool phoneNumberBelongsToPrivilegedPerson(NSString* destinationID);

}  // namespace hushlane
