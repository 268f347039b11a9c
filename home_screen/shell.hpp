// The scenario language at a prompt: each line is run as it comes. With a terminal on both sides
// there are a prompt, history and completion; otherwise lines are read and answered as in a play.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "home_screen/session/notation.hpp"
#include "home_screen/show/terminal.hpp"

namespace home_screen {

class Session;

// Something to ask about the phone in hand, besides the statements of the language.
struct ShellQuestion {
  std::string name;
  std::string usage;  // of the words behind the name
  std::string help;
  std::function<void(Session&, Lines words)> ask;  // throws BadWords
};

// Reads standard input to its end or to `quit`. A wrong line is complained about, and the next one
// read. The result is the worst of all lines. Throws std::runtime_error when the library can't be
// loaded, and DeviceError.
ExitStatus runShell(Session& session, bool trace, std::vector<ShellQuestion> questions);

}  // namespace home_screen
