// When the scheduled Do Not Disturb comes and goes in the coming days: the loaded library is asked
// about every minute, through the phone's overrides.
#pragma once

#include "home_screen/player.hpp"

namespace home_screen {

// Draws a bar for each of so many days (1 or more), today first, and lists the changes from now on.
void showCalendar(Player& player, int days);

}  // namespace home_screen
