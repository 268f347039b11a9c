#include "home_screen/ask/trial.hpp"

#include <utility>

#include "home_screen/ask/exported.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

using simulator::PreferencesStore;

// For as long as it lives.
class StandIn {
 public:
  StandIn(PreferencesStore& preferences, SettingsHeld settings) : preferences_(preferences) {
    preferences_.standIn(std::move(settings));
  }
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;
  ~StandIn() { preferences_.standIn({}); }

 private:
  PreferencesStore& preferences_;
};

// What gives the library, when it is loaded, the settings that it holds now.
SettingsHeld settingsHeld(const Session& session) {
  auto held = PreferencesStore::changed(nullptr, modeKey, session.library().allowedMessageGroup);
  held =
      PreferencesStore::changed(held.get(), digitsKey, session.library().maxNumOfDigitsToCompare);
  for (const int weekday : suppressedWeekdays(session)) {
    held = PreferencesStore::changed(held.get(), weekdayKeys[weekday - 1], false);
  }
  return held;
}

}  // namespace

SettingsHeld settingsOf(const Session& session) {
  return session.device().preferences.domain(simulator::settingsDomain);
}

void trySettings(Session& session, SettingsHeld settings, const std::function<void()>& ask) {
  const StandIn standIn(session.device().preferences, std::move(settings));
  session.post("reloadsettings");
  ask();
}

void keepingSettings(Session& session, const std::function<void()>& ask) {
  const SettingsHeld held = settingsHeld(session);
  const auto putBack = [&] { trySettings(session, held, [] {}); };
  try {
    ask();
  } catch (...) {
    putBack();
    throw;
  }
  putBack();
}

}  // namespace home_screen
