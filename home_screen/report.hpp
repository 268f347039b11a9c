// Shows the outcomes of a scenario on standard output: as text for people, or as JSON, one object
// a line. Expectations that did not come true are complained about on standard error.
#pragma once

#include <string>

#include "home_screen/player.hpp"

namespace home_screen {

// With `showLog`, also the log texts, and the start of the host.
void reportText(const Outcome& outcome, bool showLog);

// The same without the command itself, for somebody who has just typed it.
void reportResult(const Outcome& outcome, bool showLog);

void reportJson(const Outcome& outcome);

// One line on standard error, after all output so far.
void complain(const std::string& complaint);

// "FILE:LINE: expected ..., but ...".
void complainAboutFailure(const Outcome& outcome, const std::string& file);

}  // namespace home_screen
