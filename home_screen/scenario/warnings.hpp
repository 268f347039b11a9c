// What is legal in a scenario, but surely not meant.
//
// Plain functions, any thread.
#pragma once

#include <string>
#include <vector>

#include "home_screen/scenario/reader.hpp"

namespace home_screen {

// "FILE:LINE: warning: ...": a preference that nothing reads, a notification that nobody observes,
// and settings that have not been loaded by the end.
Lines warningsAbout(const std::vector<Statement>& scenario, const std::string& file);

}  // namespace home_screen
