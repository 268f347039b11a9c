// The scenario language at a prompt: each line is run as it comes. With a terminal on both sides
// there are a prompt, history and completion; otherwise lines are read and answered as in a play.
#pragma once

#include "home_screen/show/terminal.hpp"

namespace home_screen {

class Session;

// Reads standard input to its end or to `quit`. A wrong line is complained about, and the next one
// read. The result is the worst of all lines. Throws std::runtime_error when the library can't be
// loaded, and DeviceError.
ExitStatus runShell(Session& session, bool trace);

}  // namespace home_screen
