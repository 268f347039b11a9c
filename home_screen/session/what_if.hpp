// What if a setting were another? Changes to the settings of the phone in hand, before the library
// loads them.
//
// Only what a phone's settings pane could have written: a value of the right kind for a key that
// the library reads.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "home_screen/session/notation.hpp"
#include "simulator/frameworks/preferences.hpp"

namespace simulator {
class Device;
}

namespace home_screen {

// "WORD is wrong; did you mean ...?"
class WrongSetting : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Setting {
  std::string key;
  simulator::PreferenceValue value;
};

// "KEY=VALUE". Throws WrongSetting.
Setting parseSetting(const std::string& text);

// Who gets through, as people say it.
struct ModeChoice {
  std::int64_t value = 0;  // of allowedMessageGroup, unless a group was named
  std::string group;       // its name or record ID
};

// "everyone", "nobody", "favourites", "contacts" or "group=NAME-OR-ID". Throws WrongSetting.
ModeChoice parseMode(const std::string& text);
const Lines& modeWords();  // "group=" the last

// Every preference of the library's domain, also one that it does not read: the binary property
// list that a phone reads.
std::string settingsFile(const simulator::Device& phone);

// Writes them to the phone's preferences. Throws WrongSetting for a group that the phone doesn't
// have, and DeviceError.
void change(simulator::Device& phone, const std::vector<Setting>& settings);
void change(simulator::Device& phone, const ModeChoice& mode);

}  // namespace home_screen
