// Other settings than the phone's, tried beside them.
//
// The thread of the home screen.
#pragma once

#include <functional>

#include "home_screen/session/session.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace home_screen {

using SettingsHeld = simulator::Owned<simulator::Dictionary>;

// The phone's own; null when there are none.
SettingsHeld settingsOf(const Session& session);

// Has these settings loaded while `ask` runs. The phone's own stay as they are, and are not loaded
// again: that is for `keepingSettings`, around all trials.
void trySettings(Session& session, SettingsHeld settings, const std::function<void()>& ask);

// In the end, also when something is thrown, what the library held before `ask` is loaded again:
// the same values, but an empty list where there was none yet, and the group's members as the
// address book has them now.
void keepingSettings(Session& session, const std::function<void()>& ask);

}  // namespace home_screen
