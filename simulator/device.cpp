#include "simulator/device.hpp"

#include <algorithm>

#include "simulator/context/faults.hpp"
#include "simulator/runtime/object.hpp"

namespace simulator {

namespace {

const double defaultFoundationVersion = NSFoundationVersionNumber;

}  // namespace

std::vector<std::filesystem::path> filesOfAPhone() {
  const std::string database = AddressBookStore::databaseFile;
  return {PreferencesStore::fileOf(settingsDomain),
          AddressBookStore::favouritesFile,
          database,
          database + "-journal",
          database + "-wal",
          database + "-shm",
          BulletinBoard::storedOverrides};
}

Device::Device(std::filesystem::path directory)
    : Context(std::move(directory)), preferences(root), addressBook(root), bulletinBoard(root) {}

Device::~Device() {
  queue.drain();
  restoreRuntime();
  resetFaults();
  setFoundationVersion(defaultFoundationVersion);
}

void Device::check() const {
  preferences.check();
  addressBook.check();
  bulletinBoard.check();
}

void Device::setFoundationVersion(double version) { NSFoundationVersionNumber = version; }

void Device::setLocalTime(LocalSeconds local) {
  clock.set(local);
  bulletinBoard.refresh();
}

// The host wakes at every moment at which an override may begin or end: the boundaries of the
// periods, midnight, and a change of the clocks.
void Device::advance(std::chrono::seconds by, const std::function<void()>& meanwhile) {
  using std::chrono::minutes;
  const std::chrono::sys_seconds end = clock.now() + by;
  std::vector<minutes> boundaries = bulletinBoard.scheduleBoundaries();
  if (!boundaries.empty()) {
    boundaries.push_back(minutes(0));
    auto local = clock.local(clock.now());
    for (auto moment = std::chrono::floor<minutes>(clock.now()) + minutes(1); moment < end;
         moment += minutes(1)) {
      meanwhile();
      const auto previous = std::exchange(local, clock.local(moment));
      const auto timeOfDay =
          std::chrono::floor<minutes>(local - std::chrono::floor<std::chrono::days>(local));
      const bool clocksChanged = local - previous > minutes(1) || local < previous;
      if (clocksChanged || std::ranges::find(boundaries, timeOfDay) != boundaries.end()) {
        clock.set(moment);
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
