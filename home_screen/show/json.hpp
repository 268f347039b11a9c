// Answers as JSON, on standard output. Text that is not UTF-8 is shown with replacement characters
// instead of being refused.
#pragma once

#include <string>

#include "home_screen/ask/explanation.hpp"
#include "home_screen/scenario/commands.hpp"

namespace home_screen {

void showJson(const Explanation& explanation);  // one object
void showJson(const Outcome& outcome);          // one object, on one line

}  // namespace home_screen
