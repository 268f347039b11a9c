// Other settings than the phone's, tried beside them.
//
// The thread of the home screen.
#pragma once

#include <functional>

#include "home_screen/session/session.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace home_screen {

using SettingsHeld = simulator::Owned<simulator::Dictionary>;

// The phone's own, or those that are being tried; null when there are none.
SettingsHeld settingsOf(const Session& session);

// Has these settings loaded while `ask` runs, which may try others in turn. In the end, also when
// something is thrown, the session is as before: what a load changes is put back by hand, which
// can't fail. Another load could, or find another address book than the one before.
void trySettings(Session& session, SettingsHeld settings, const std::function<void()>& ask);

}  // namespace home_screen
