// The groups that can be let through, as the library lists them, and how many each holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "home_screen/session/session.hpp"

namespace home_screen {

struct GroupSize {
  std::int64_t id;
  std::string name;  // "" for a group without one
  std::size_t members;
  std::size_t numbers;
  std::size_t addresses;
};

// In the platform's order.
std::vector<GroupSize> askGroups(Session& session);

}  // namespace home_screen
