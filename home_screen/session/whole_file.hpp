// A file that is replaced whole, or not at all.
#pragma once

#include <filesystem>
#include <string>

namespace home_screen {

// The new one is written beside it, reaches the disk and is renamed. Throws std::runtime_error
// ("FILE: what is wrong; what was expected"), also for what is there and no regular file.
void replaceFile(const std::filesystem::path& file, const std::string& content);

}  // namespace home_screen
