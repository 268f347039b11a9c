// Answers as text for a terminal, on standard output.
#pragma once

#include <string>
#include <vector>

#include "home_screen/ask/digits.hpp"
#include "home_screen/ask/explanation.hpp"
#include "home_screen/ask/groups.hpp"
#include "home_screen/ask/schedule.hpp"
#include "home_screen/ask/who.hpp"
#include "home_screen/scenario/commands.hpp"
#include "home_screen/session/saved_phone.hpp"

namespace home_screen {

void showText(const Explanation& explanation);
// `atPrompt`: how to ask about the night is told for the shell.
void showText(const Who& who, bool atPrompt);
void showText(const Calendar& calendar);
void showText(const std::vector<GroupSize>& groups);
void showText(const Digits& digits);

// A command and what it did. With `showLog`, also the log texts, and the start of the host.
void showText(const Outcome& outcome, bool showLog);
// The same without the command itself, for somebody who has just typed it.
void showResult(const Outcome& outcome, bool showLog);

void showSaved(const SavedPhone& saved);

// "FILE:LINE: expected ..., but ...", on standard error, when it was an expectation that did not
// come true.
void complainAboutFailure(const Outcome& outcome, const std::string& file);

}  // namespace home_screen
