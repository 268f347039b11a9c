// What every part of the phone may ask: where its files lie, what time it is, and the log.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "simulator/context/clock.hpp"
#include "simulator/context/fatal.hpp"

namespace simulator {

// A part of which the process holds one at a time, a member of the device: the platform's C
// functions and methods answer for that one. Any thread may ask for it while it lives.
template <class Part>
class Current {
 public:
  Current(const Current&) = delete;
  Current& operator=(const Current&) = delete;

  static Part& current() {
    if (part_ == nullptr) fatal("a platform operation was called without a device");
    return *part_;
  }

 protected:
  Current() { part_ = static_cast<Part*>(this); }
  ~Current() { part_ = nullptr; }

 private:
  static inline Part* part_ = nullptr;
};

// What NSLog wrote, one text an entry, oldest first. Any thread.
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

struct Context : Current<Context> {
  explicit Context(std::filesystem::path directory) : root(std::move(directory)) {}

  const std::filesystem::path root;  // of the phone's file system
  Clock clock;
  SystemLog log;
};

}  // namespace simulator
