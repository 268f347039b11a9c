// What NSLog wrote, one text an entry, oldest first. Any thread.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

class SystemLog {
 public:
  void write(std::string text) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::move(text));
  }
  // The entries since the last call.
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace simulator
