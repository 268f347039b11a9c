// What the library answers by its exported names.
//
// To be asked while no settings load runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "home_screen/session/session.hpp"

namespace home_screen {

// Every group that the library lists.
struct ListedGroup {
  std::int64_t id;
  std::string name;
};
std::vector<ListedGroup> listGroups(const Session& session);

// Does its number matcher know that sender, who may be absent?
bool askMatcher(const Session& session, const std::optional<std::string>& sender);

// The stored schedule: "22:00-07:00", "nothing", or the description of what else was found.
std::string askForInterval(const Session& session);

// The weekdays without the scheduled Do Not Disturb, from 1 for Sunday.
std::vector<int> suppressedWeekdays(const Session& session);

// "name=value" for each exported value: collections as JSON arrays, dates in the phone's local
// time, "absent" where there is no object.
Lines describeValues(const Session& session);

}  // namespace home_screen
