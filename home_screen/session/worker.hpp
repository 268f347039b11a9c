// All work on a scratch phone is done by a process of its own, so that the phone is removed
// whatever ends that process: a signal, a crash, the want of memory.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace home_screen {

// Makes a scratch folder that is not below `original`, and runs `work` on it in a child process,
// which ends with its result. This process only waits: it passes on the signals that come to it
// alone, stops and continues with the child, removes the folder, and ends as the child did, with
// the same status or of the same signal.
//
// `work` raises nothing. Call it while there is one thread. Throws std::runtime_error when folder
// or process can't be made.
int inScratchFolder(const std::optional<std::string>& original,
                    const std::function<int(const std::filesystem::path&)>& work);

}  // namespace home_screen
