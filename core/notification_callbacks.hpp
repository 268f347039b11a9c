// The library's three Darwin notifications. Nobody in here posts them: the settings pane does, and
// whoever turns Do Not Disturb on by hand.
//
// The callbacks run on the host's main run loop, one at a time, and ignore all their arguments.
#pragma once

namespace hushlane {

// From then on, "reloadsettings" and "weekdaysettingschanged" load the settings again, and
// "manualdndenabled" stamps `manualDNDEnabledTime`. To be called once.
void registerObservers();

}  // namespace hushlane
