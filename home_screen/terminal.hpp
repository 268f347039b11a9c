// Colour for standard output: only where it is a terminal, and never when NO_COLOR is set.
// https://no-color.org
#pragma once

#include <string>

namespace home_screen {

enum class Tone { good, bad, faint, strong };

// The text as it is, or in colour when that is wanted.
std::string toned(const std::string& text, Tone tone);

}  // namespace home_screen
