// What may stand at the end of a line of the shell.
//
// The thread of the home screen.
#pragma once

#include <string_view>

#include "home_screen/session/notation.hpp"

namespace home_screen {

class Session;

// For the word that the line ends in, which may be empty: commands, keys, choices, and values from
// the phone, as they are to be typed, in quotes where they need them. All begin with what the word
// holds already; `start` is where in the line it begins.
struct Completions {
  std::size_t start;
  Lines words;
};
Completions complete(std::string_view line, const Session& session, const Lines& questions);

}  // namespace home_screen
