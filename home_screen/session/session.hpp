// The phone in hand, with the library loaded into it.
//
// The thread of the home screen. The device must outlive the session, which unloads the library at
// its end. While it lives, freed objects are kept to the end of each command and question, so that
// a library that still uses one stops the program with a message.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "home_screen/session/moment.hpp"
#include "home_screen/session/notation.hpp"
#include "home_screen/session/phone_files.hpp"
#include "home_screen/session/progress.hpp"
#include "home_screen/session/what_if.hpp"
#include "hushlane/hushlane.h"

namespace simulator {
class Device;
class LoadedLibrary;
}  // namespace simulator

namespace home_screen {

// Each name, handed to a macro.
#define HUSHLANE_VARIABLES(row)                                                                  \
  row(allowedMessageGroup) row(maxNumOfDigitsToCompare) row(enableDebugLogging) row(isDNDActive) \
      row(privilegedMessageSenderIDs) row(privilegedMessageSenderPhones)                         \
          row(privilegedMessageSenderEmails) row(daysForSuppressingScheduler) row(ctorTime)      \
              row(manualDNDEnabledTime)
#define HUSHLANE_FUNCTIONS(row)                                                                \
  row(loadABGroups) row(phoneNumberBelongsToPrivilegedPerson) row(shouldSchedulerBeSuppressed) \
      row(getBBBehaviorOverrideEffectiveInterval)

// What the library exports, looked up by name as any code outside it would, with the types of its
// public header: references into the loaded library, which must outlive them.
class Exports {
 public:
  // Throws std::runtime_error when the library lacks a name.
  explicit Exports(const simulator::LoadedLibrary& library) : library_(library) {}

 private:
  void* address(const char* name) const;

  const simulator::LoadedLibrary& library_;

 public:
// NOLINTBEGIN(bugprone-macro-parentheses): the name of a member has none around it
#define HUSHLANE_ROW(name) \
  decltype(::name)& name = *reinterpret_cast<decltype(&::name)>(address(#name));
  // NOLINTEND(bugprone-macro-parentheses)
  HUSHLANE_VARIABLES(HUSHLANE_ROW)
  HUSHLANE_FUNCTIONS(HUSHLANE_ROW)
#undef HUSHLANE_ROW
};

// The settings that the library reads.
inline constexpr const char* settingsKeys[] = {
    "allowedMessageGroup", "maxNumOfDigitsToCompare", "schedulerWeekday_1",
    "schedulerWeekday_2",  "schedulerWeekday_3",      "schedulerWeekday_4",
    "schedulerWeekday_5",  "schedulerWeekday_6",      "schedulerWeekday_7"};
inline constexpr const char* modeKey = settingsKeys[0];
inline constexpr const char* digitsKey = settingsKeys[1];
inline constexpr const char* const* weekdayKeys = settingsKeys + 2;  // from Sunday

// The Darwin notifications that the library observes, without its domain.
inline constexpr const char* ownNotifications[] = {"manualdndenabled", "reloadsettings",
                                                   "weekdaysettingschanged"};

// Where a phone stands when somebody asks it.
struct Situation {
  bool machineTime = false;  // the clock shows the machine's, else it stands
  std::string timeZone;      // "" as the clock has it
  std::optional<When> when;  // else as the clock shows
  std::vector<Setting> settings;
  std::optional<ModeChoice> mode;
  bool doNotDisturb = false;  // switched on by hand
};

// Of what the phone in hand is a copy.
struct Original {
  std::filesystem::path folder;    // "" when the phone was empty
  std::vector<PhonePart> lacking;  // what the folder, a backup, does not hold
};

class Session {
 public:
  Session(simulator::Device& device, std::string library);
  ~Session();

  // From the start on, the library's debug logging is set again after each load of its settings.
  void keepLogging() { keepsLogging_ = true; }

  // Before the start: brings the phone there. Throws WrongSetting.
  void prepare(const Situation& situation);

  // Starts the host, which loads the library. Throws std::runtime_error when it can't be loaded.
  // On a phone that was prepared, the host then asks whether Do Not Disturb is on.
  void start();

  // Called in the course of long answers; nothing is, when it is empty.
  ShowProgress showProgress;

  simulator::Device& device() const { return device_; }
  Exports& library() const { return *exports_; }  // once started

  Original original;

  // Where the original lacks a part, the phone answers as if it held nothing, which says nothing
  // until something else is put in its place.
  bool knows(PhonePart part) const;
  std::vector<PhonePart> unknown() const;

  // Posts a Darwin notification; a name without a dot is one of the library's own.
  void post(const std::string& name);

  // What has been logged since the last look, by which every answer is told. Throws DeviceError
  // when a file of the phone could not be read meanwhile: then the answer would be a wrong one.
  Lines takeLog() const;
  // What is logged while `ask` runs, with debug logging on and afterwards as before. What was in
  // the log is dropped.
  Lines logOf(const std::function<void()>& ask);

 private:
  simulator::Device& device_;
  std::string libraryFile_;
  bool keepsLogging_ = false;
  std::optional<Situation> prepared_;
  std::unique_ptr<simulator::LoadedLibrary> loaded_;
  std::unique_ptr<Exports> exports_;
};

}  // namespace home_screen
