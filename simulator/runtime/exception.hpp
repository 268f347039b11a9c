// The platform's exception, as the simulated phone throws it: a C++ exception that bears the
// platform's name for the fault and the sentence that explains it.
#pragma once

#include <stdexcept>
#include <string>

namespace simulator {

class PlatformException : public std::runtime_error {
 public:
  PlatformException(std::string name, const std::string& reason)
      : std::runtime_error(name + ": " + reason), name_(std::move(name)) {}

  const std::string& name() const noexcept { return name_; }

 private:
  std::string name_;
};

}  // namespace simulator
