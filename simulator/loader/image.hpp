// The library's file in the memory of this process, whichever format it has.
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace simulator {

class Image {
 public:
  Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  virtual ~Image() = default;  // takes it out of the process, without another word to the library

  // The address of an exported name, or null.
  virtual void* address(const std::string& name) const = 0;

  // The memory in which the library's own variables lie, word by word.
  virtual std::vector<std::span<void* const>> variables() const = 0;
};

// Each maps the file, binds what it takes to the symbols of this process, and runs the
// initializers. Throws std::runtime_error that names the file.
std::unique_ptr<Image> loadElf(const std::filesystem::path& file);
std::unique_ptr<Image> loadMachO(const std::filesystem::path& file);

}  // namespace simulator
