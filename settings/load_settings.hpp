// Reads the user's choices from the preferences domain "org.mernwick.hushlane" into the shared
// state.
#pragma once

namespace hushlane {

// One full load, from the domain's current contents. Runs on the thread that loads the library and
// later on the host's main run loop, never twice at a time; with a group chosen, it waits for the
// address book.
//
// A domain without keys changes nothing; values that can't be copied change no setting; both are
// logged. A key that is absent, or whose value has no integer or boolean reading (a list, a
// dictionary, a date), gives the default: nobody, 7 digits, no weekday suppressed. Integers are
// read as 32 bits. Every load that gets the values clears `enableDebugLogging`, and empties the
// sender collections before a group is read. A platform exception passes to the caller and leaves
// the values that the load had not yet reached.
void loadSettings();

}  // namespace hushlane
