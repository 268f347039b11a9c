// A temporary folder that goes with this object.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace tests {

struct ScratchFolder {
  ScratchFolder() {
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
  }
  ~ScratchFolder() { std::filesystem::remove_all(path); }
  ScratchFolder(const ScratchFolder&) = delete;

  std::string path = (std::filesystem::temp_directory_path() / "phone-XXXXXX").string();
};

}  // namespace tests
