// Why a notification was presented or held back, told from the lines that the library itself logged
// about it. Nothing is decided again here.
#pragma once

#include <cstdint>
#include <string>

#include "home_screen/notation.hpp"

namespace home_screen {

// A few words; needs the log of an arrival with debug logging on. "" when the log does not say.
std::string reasonFor(const Lines& log);

// What a value of allowedMessageGroup means to people.
std::string modeName(std::int64_t mode);

}  // namespace home_screen
