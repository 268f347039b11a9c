// What every part of the phone may ask: where its files lie, what time it is, and the log.
#pragma once

#include <exception>
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

  // Why a service gave its caller nothing, where the platform has no way to say so: what is
  // answered from then on can't be trusted. The first is kept until it is taken. Any thread.
  void keepFailure(std::exception_ptr failure) {
    const std::lock_guard lock(failureMutex_);
    if (failure_ == nullptr) failure_ = std::move(failure);
  }
  void throwKeptFailure() {
    const std::unique_lock lock(failureMutex_);
    if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
  }

  const std::filesystem::path root;  // of the phone's file system
  Clock clock;
  SystemLog log;

 private:
  std::mutex failureMutex_;
  std::exception_ptr failure_;
};

// For a function of the platform that never raises: what `ask` gives, or nothing with the failure
// kept.
template <class Ask>
auto orNothing(Ask ask) noexcept -> decltype(ask()) {
  try {
    return ask();
  } catch (...) {
    Context::current().keepFailure(std::current_exception());
    return decltype(ask())();
  }
}

}  // namespace simulator
