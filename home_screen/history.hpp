// The lines that were typed at the prompt, kept from one shell to the next in the user's state
// directory: $XDG_STATE_HOME, else ~/.local/state.
#pragma once

#include <filesystem>
#include <string>

#include "home_screen/session/notation.hpp"

namespace home_screen {

class History {
 public:
  // Makes the folder. Without a state directory, and where it can't be used, nothing is kept.
  History();

  // The latest thousand, the oldest first. A file of many more is cut to them.
  Lines lines() const;

  // Several shells may add at once.
  void add(const std::string& line) const;

 private:
  std::filesystem::path file_;  // "" when nothing is kept
};

}  // namespace home_screen
