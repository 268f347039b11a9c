// Records which operations beneath the seam are called, in order. Off unless somebody listens, and
// then nearly free. Any thread may be recorded; one thread starts and stops.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

inline std::atomic<bool> tracing{false};

void startTrace();

// What was called since, one text a call: the operation's name and what it was about, with spaces
// between: "objc_getClass BBServer". A message stands where its implementation is looked up:
// "message NSDate init".
std::vector<std::string> stopTrace();

void recordCall(std::string_view operation, std::string_view about, std::string_view detail);

// For the operation itself.
inline void traceCall(std::string_view operation, std::string_view about = {},
                      std::string_view detail = {}) {
  if (tracing.load(std::memory_order_relaxed)) recordCall(operation, about, detail);
}

}  // namespace simulator
