// Ctrl-C at a prompt: whatever is being answered is given up, and the session stays.
#pragma once

#include <atomic>

namespace home_screen {

// No std::exception: nobody on the way takes it for a failure.
struct GivenUp {};

// Set by the shell's signal handler; elsewhere Ctrl-C ends the program.
inline std::atomic<bool> interrupted{false};

// For loops that may take long. Throws GivenUp.
inline void giveUpIfInterrupted() {
  if (interrupted.load(std::memory_order_relaxed) && interrupted.exchange(false)) throw GivenUp();
}

}  // namespace home_screen
