// The folder of a scratch phone, in the temporary directory.
//
// Whoever uses it holds its lock (flock), and a process that is forked meanwhile holds it as well.
// A folder of which nobody does is what a killed session has left, and the next session removes it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace home_screen {

// Is it that folder or below it, by whatever names? What need not exist yet is judged by what does.
// Throws std::runtime_error when it can't be looked at.
bool liesInside(const std::filesystem::path& path, const std::filesystem::path& folder);

class ScratchFolder {
 public:
  // Not below `original`, in which nothing may be written. Throws std::runtime_error with the
  // temporary directory's name.
  explicit ScratchFolder(const std::optional<std::string>& original);
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::filesystem::path& path() const { return path_; }

  // May come often. Needs a single free descriptor, and raises nothing.
  void remove() const noexcept;

 private:
  std::filesystem::path path_;
  int lock_ = -1;
};

}  // namespace home_screen
