// The fixture of every test that asks the loaded library: a phone of its own, the library loaded
// afresh, and at the end a count of what is still alive.
//
// A test turns the phone's knobs, calls `start()`, and then asks as the host or as outside code
// would. After each test nothing may be alive that was not before it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/context/call_trace.hpp"
#include "simulator/context/faults.hpp"
#include "simulator/device.hpp"
#include "simulator/foundation/objects.hpp"
#include "simulator/loader/loaded_library.hpp"
#include "tests/support/scratch_folder.hpp"

namespace tests {

using Texts = std::vector<std::string>;

class PhoneTest : public ::testing::Test {
 protected:
  PhoneTest();
  ~PhoneTest() override;

  simulator::Device& phone() { return *device_; }

  // Loads the library; leaves what it logged in `startLog`.
  void start();
  Texts startLog;
  // Ends the host: unloads the library, and puts hidden classes and removed methods back.
  void end();
  // Both, with the same phone and a library loaded afresh.
  void restart();

  // ---- The host's side ----

  void reload() { phone().post("org.mernwick.hushlane.reloadsettings"); }
  // Also calls `look` before each call of an operation in this load; gives their number.
  int reloadWatching(simulator::Fault operation, const std::function<void()>& look);
  void dnd(bool on) { phone().bulletinBoard.setManualDoNotDisturb(on); }
  bool message(const std::optional<std::string>& sender) {
    return phone().bulletinBoard.arrives(1, sender);
  }
  void set(const std::string& key, const simulator::PreferenceValue& value) {
    phone().preferences.set(simulator::settingsDomain, key, value);
  }
  // One group with these members, chosen in the settings. Gives the group's record ID.
  std::int64_t chooseGroup(const std::vector<simulator::Person>& members);

  // Puts a test's own method in the place of the platform's, where the library then finds it.
  // Before `start()`; undone by `end()`.
  template <class R, class... Args>
  static void substitute(const char* type, const char* selector, R (*method)(id, SEL, Args...)) {
    IMP before = nullptr;
    MSHookMessageEx(simulator::classNamed(type), sel_registerName(selector),
                    reinterpret_cast<IMP>(method), &before);
  }

  // What was logged since the last look.
  Texts log() { return phone().log.take(); }

  // ---- The exported names, as outside code sees them ----

  template <class T>
  T& value(const std::string& name) {
    return library_->value<T>(name);
  }
  template <class F>
  F* function(const std::string& name) {
    return library_->function<F>(name);
  }
  std::int64_t integer(const std::string& name) { return value<std::int64_t>(name); }
  bool boolean(const std::string& name) { return value<bool>(name); }
  id object(const std::string& name) { return value<id>(name); }
  void debugLogging(bool on) { value<bool>("enableDebugLogging") = on; }

  // The descriptions of a collection's elements; nothing when it does not exist.
  std::optional<Texts> texts(const std::string& collection);

  bool matcher(const std::optional<std::string>& destinationId);
  // "ID NAME" for each group.
  Texts groups();
  bool suppressed(long daysFromToday);
  // "22:00-07:00", or "nothing".
  std::string interval();

 private:
  ScratchFolder root_;
  std::int64_t aliveBefore_;
  std::int64_t unpooledBefore_;
  std::unique_ptr<simulator::Device> device_;
  std::unique_ptr<simulator::LoadedLibrary> library_;
};

// The entries of a log that the library wrote in `write`.
template <class F>
std::pair<bool, Texts> answerAndLog(simulator::Device& phone, F ask) {
  phone.log.take();
  const bool answer = ask();
  return {answer, phone.log.take()};
}

}  // namespace tests
