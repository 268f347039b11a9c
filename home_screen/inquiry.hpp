// Questions to the loaded library, with its answers taken from what it returns and from the lines
// that it logs on the way.
//
// The thread of the home screen. Debug logging is on during a question and afterwards as before;
// what was in the phone's log before a question is dropped.
#pragma once

#include <array>
#include <string>

#include "home_screen/gate_log.hpp"
#include "home_screen/player.hpp"

namespace home_screen {

// Every group that the library lists, by its exported name.
struct ListedGroup {
  std::int64_t id;
  std::string name;
};
std::vector<ListedGroup> listGroups(const simulator::LoadedLibrary& library);

// The numbers in an exported collection; none when it is absent.
std::vector<std::int64_t> numbersIn(const simulator::LoadedLibrary& library,
                                    const std::string& collection);

struct Arrival {
  bool presented;
  Lines log;
  GateLog gate;
};

// A message from that sender arrives. Throws std::runtime_error when the library's log does not
// tell of it.
Arrival askAboutMessage(Player& player, const std::string& sender);

// The tail that the library compares for that number.
std::string askForTail(Player& player, const std::string& number);

// What the library says of the scheduled Do Not Disturb at some moment.
struct ScheduleAnswer {
  bool active = false;     // the answer
  bool phoneSays = false;  // the phone's own answer, for any override
  int weekday = 0;         // 1 to 7 as the library counts it; 0 when no override was there to ask

  bool suppressed() const { return phoneSays && !active; }
  bool operator==(const ScheduleAnswer&) const = default;
};
ScheduleAnswer askAboutSchedule(Player& player, date::sys_seconds moment);

// "Sunday" for 1 to "Saturday" for 7.
std::string weekdayName(int weekday);

// "22:00-07:00", or several with commas; "" when no override is stored, or none with a period.
std::string scheduleText(const simulator::BulletinBoard& board);

}  // namespace home_screen
