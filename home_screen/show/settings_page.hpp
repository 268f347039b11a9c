// The page of the Settings app as text for a terminal, on standard output.
#pragma once

#include "home_screen/ask/settings_page.hpp"

namespace home_screen {

void showText(const SettingsPage& page);

}  // namespace home_screen
