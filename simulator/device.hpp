// The phone on a desk. A directory laid out as a phone's file system, and the services that read
// it. One device at a time; the platform's C functions answer for that one.
//
// This is the whole control panel for a test or the home screen: turn a knob on one of the
// services, then call the host's side of them. Faults are in context/faults.hpp, the library itself
// in loader/.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "simulator/context/context.hpp"
#include "simulator/context/device_error.hpp"
#include "simulator/frameworks/address_book.hpp"
#include "simulator/frameworks/bulletin_board.hpp"
#include "simulator/frameworks/dispatch.hpp"
#include "simulator/frameworks/notification_center.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace simulator {

// The files that a phone's services read, from the root of its file system.
std::vector<std::filesystem::path> filesOfAPhone();

class Device : public Context {
 public:
  // A phone whose file system is this directory, which the phone may write.
  explicit Device(std::filesystem::path directory);

  // Undoes every method replacement and every fault. A library must be unloaded before.
  ~Device();

  // Throws DeviceError for a file of the phone that is there but can't be used.
  void check() const;

  // The NSFoundationVersionNumber of the host. To be set before a library is loaded.
  void setFoundationVersion(double version);

  // Moves the time; the host asks the overrides again. `meanwhile` is called often on a long way,
  // and what it throws ends it.
  void setLocalTime(LocalSeconds local);
  void advance(
      std::chrono::seconds by, const std::function<void()>& meanwhile = [] {});

  // Posts a Darwin notification, delivers all that is pending, and asks the overrides again.
  void post(const std::string& name);

  PreferencesStore preferences;
  AddressBookStore addressBook;
  NotificationCenter notifications;
  DispatchQueue queue;  // where address-book completions run
  BulletinBoard bulletinBoard;
};

}  // namespace simulator
