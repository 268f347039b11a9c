// Who would get through: every person, number and address of the address book, each asked about
// as the sender of a message, and the tails that two different people share.
#pragma once

#include <string>
#include <string_view>

#include "home_screen/player.hpp"

namespace home_screen {

// The sender that a message from a stored number bears: its digits behind a leading +, up to an
// extension or a pause.
std::string senderFrom(std::string_view storedNumber);

void showWho(Player& player);

}  // namespace home_screen
