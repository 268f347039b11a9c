#include "simulator/device.hpp"

#include <algorithm>

#include "simulator/faults.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {

namespace {

constexpr double defaultFoundationVersion = 1047.25;  // of a phone with system version 7.1

Device* currentDevice = nullptr;

}  // namespace

Device::Device(std::filesystem::path directory)
    : root((currentDevice = this, std::move(directory))),
      preferences(root),
      addressBook(root),
      bulletinBoard(root) {}

Device::~Device() {
  queue.drain();
  restoreRuntime();
  resetFaults();
  setFoundationVersion(defaultFoundationVersion);
  currentDevice = nullptr;
}

Device& Device::current() {
  if (currentDevice == nullptr) fatal("a platform operation was called without a device");
  return *currentDevice;
}

void Device::check() const {
  preferences.check();
  addressBook.check();
  bulletinBoard.check();
}

void Device::setFoundationVersion(double version) { NSFoundationVersionNumber = version; }

void Device::setLocalTime(date::local_seconds local) {
  clock.set(local);
  bulletinBoard.refresh();
}

// The host wakes at every moment at which an override may begin or end: the boundaries of the
// periods, midnight, and a change of the clocks.
void Device::advance(std::chrono::seconds by) {
  using std::chrono::minutes;
  const date::sys_seconds end = clock.now() + by;
  std::vector<minutes> boundaries = bulletinBoard.scheduleBoundaries();
  if (!boundaries.empty()) {
    boundaries.push_back(minutes(0));
    auto local = clock.local(clock.now());
    for (auto moment = std::chrono::floor<minutes>(clock.now()) + minutes(1); moment < end;
         moment += minutes(1)) {
      const auto previous = std::exchange(local, clock.local(moment));
      const auto timeOfDay =
          std::chrono::floor<minutes>(local - std::chrono::floor<std::chrono::days>(local));
      const bool clocksChanged = local - previous > minutes(1) || local < previous;
      if (clocksChanged || std::ranges::find(boundaries, timeOfDay) != boundaries.end()) {
        clock.set(date::sys_seconds(moment));
        bulletinBoard.refresh();
      }
    }
  }
  clock.set(end);
  bulletinBoard.refresh();
}

void Device::post(const std::string& name) {
  notifications.post(name);
  notifications.runMainLoop();
  bulletinBoard.refresh();
}

}  // namespace simulator
