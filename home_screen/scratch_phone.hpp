// A file system for a simulated phone that may be written and goes away at the end: empty, or with
// copies of a phone's files. The original is only read.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace home_screen {

class ScratchPhone {
 public:
  // Copies the folders that the phone's services read, regular files only. Throws DeviceError when
  // `original` is not a directory or a file in it can't be read.
  explicit ScratchPhone(const std::optional<std::filesystem::path>& original);
  ScratchPhone(const ScratchPhone&) = delete;
  ScratchPhone& operator=(const ScratchPhone&) = delete;
  ~ScratchPhone();

  const std::filesystem::path& root() const { return root_; }

  // A complaint about a file of the copy, turned into one about the original.
  std::string namingOriginal(std::string complaint) const;

 private:
  std::optional<std::filesystem::path> original_;
  std::filesystem::path root_;
};

}  // namespace home_screen
