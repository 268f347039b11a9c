// Answers as JSON, on standard output, in ASCII alone: other characters as \u and their code. Bytes
// that are no UTF-8 become replacement characters.
#pragma once

#include <vector>

#include "home_screen/ask/digits.hpp"
#include "home_screen/ask/explanation.hpp"
#include "home_screen/ask/groups.hpp"
#include "home_screen/ask/schedule.hpp"
#include "home_screen/ask/who.hpp"
#include "home_screen/scenario/commands.hpp"

namespace home_screen {

// Each one object.
void showJson(const Explanation& explanation);
void showJson(const Who& who);
void showJson(const Calendar& calendar);
void showJson(const std::vector<GroupSize>& groups);
void showJson(const Digits& digits);
void showJson(const Outcome& outcome);  // on one line

}  // namespace home_screen
