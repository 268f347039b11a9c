// The built-in phone and evening: in one screen, who got through, who did not, and why.
#pragma once

#include <filesystem>

namespace home_screen {

// Plays examples/evening.scenario on an empty phone and prints the evening. Gives the number of its
// expectations that did not come true. Throws what playing throws.
int runDemo(const std::filesystem::path& library);

}  // namespace home_screen
