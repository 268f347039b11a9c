// A file of the phone that can't be used: "FILE: what is wrong, and what was expected".
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace simulator {

class DeviceError : public std::runtime_error {
 public:
  DeviceError(const std::filesystem::path& file, const std::string& what)
      : std::runtime_error(file.string() + ": " + what) {}
};

}  // namespace simulator
