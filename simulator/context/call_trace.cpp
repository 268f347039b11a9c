#include "simulator/context/call_trace.hpp"

#include <mutex>
#include <utility>

namespace simulator {

namespace {

std::mutex mutex;
std::vector<std::string> calls;

}  // namespace

void startTrace() {
  const std::lock_guard lock(mutex);
  calls.clear();
  tracing = true;
}

std::vector<std::string> stopTrace() {
  const std::lock_guard lock(mutex);
  tracing = false;
  return std::exchange(calls, {});
}

void recordCall(std::string_view operation, std::string_view about, std::string_view detail) {
  const std::lock_guard lock(mutex);
  std::string& call = calls.emplace_back(operation);
  if (!about.empty()) call.append(" ").append(about);
  if (!detail.empty()) call.append(" ").append(detail);
}

}  // namespace simulator
