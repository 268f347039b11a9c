#include "simulator/context/faults.hpp"

#include <array>
#include <atomic>
#include <cstddef>
#include <limits>
#include <utility>

#include "simulator/context/call_trace.hpp"

namespace simulator {
namespace {

constexpr FaultRow rows[] = {
#define SIMULATOR_FAULT_ROW(name, operation, gives) {Fault::name, operation, gives},
    SIMULATOR_FAULTS(SIMULATOR_FAULT_ROW) SIMULATOR_MESSAGE_FAULTS(SIMULATOR_FAULT_ROW)
#undef SIMULATOR_FAULT_ROW
};

constexpr auto firstMessageFault = static_cast<std::size_t>(Fault::respondsToSelector);

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

// The calls from `first` to `last` fail, both included.
struct Arming {
  std::atomic<std::uint64_t> calls{0};
  std::atomic<std::uint64_t> first{never};
  std::atomic<std::uint64_t> last{0};
  std::atomic<bool> hasAction{false};
  std::function<void()> action;
};

std::array<Arming, std::size(rows)> armings;
std::atomic<std::uint64_t> injected{0};

Arming& armingOf(Fault fault) { return armings[static_cast<std::size_t>(fault)]; }

void watch(Fault fault) {
  if (static_cast<std::size_t>(fault) >= firstMessageFault) messagesMayFail = true;
}

}  // namespace

std::span<const FaultRow> faultTable() { return rows; }

bool failsNow(Fault fault, std::string_view about) noexcept {
  traceCall(rows[static_cast<std::size_t>(fault)].operation, about);
  Arming& arming = armingOf(fault);
  const std::uint64_t call = ++arming.calls;
  if (arming.hasAction.load() && arming.hasAction.exchange(false))
    std::exchange(arming.action, nullptr)();
  if (call < arming.first || call > arming.last) return false;
  ++injected;
  return true;
}

std::optional<Fault> messageFault(std::string_view selector) noexcept {
  for (const FaultRow& row : faultTable().subspan(firstMessageFault)) {
    if (row.operation == selector) return row.fault;
  }
  return std::nullopt;
}

void failAt(Fault fault, std::uint64_t call, bool fromThenOn) {
  watch(fault);
  Arming& arming = armingOf(fault);
  arming.first = arming.calls + call;
  arming.last = fromThenOn ? never : arming.first.load();
}

void callBefore(Fault fault, std::function<void()> action) {
  watch(fault);
  armingOf(fault).action = std::move(action);
  armingOf(fault).hasAction = true;
}

std::uint64_t injectedFailures() { return injected; }

void resetFaults() {
  for (Arming& arming : armings) {
    arming.calls = 0;
    arming.first = never;
    arming.last = 0;
    arming.hasAction = false;
    arming.action = nullptr;
  }
  injected = 0;
  messagesMayFail = false;
}

}  // namespace simulator
