// Answers as JSON, on standard output, in ASCII alone: other characters as \u and their code. Bytes
// that are no UTF-8 become replacement characters.
#pragma once

#include <string>

#include "home_screen/ask/explanation.hpp"
#include "home_screen/scenario/commands.hpp"

namespace home_screen {

void showJson(const Explanation& explanation);  // one object
void showJson(const Outcome& outcome);          // one object, on one line

}  // namespace home_screen
