// What each number of compared digits would do to a group: who would get through by a phone number,
// and which tails different people share. Each has been tried on the phone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "home_screen/ask/who.hpp"

namespace home_screen {

struct Digits {
  struct Row {
    std::int64_t digits;
    std::size_t through;                  // people
    std::vector<Who::Named> gained;       // who get through, but not with the digits in force
    std::vector<Who::Named> lost;         // who don't, but do with the digits in force
    std::vector<Who::SharedTail> shared;  // of the whole address book
  };

  std::string letThrough;
  bool isGroup = false;  // else no digits are compared, and there are no rows
  std::int64_t inForce = 0;
  std::vector<Row> rows;  // 5 to 15
};

Digits askDigits(Session& session);

}  // namespace home_screen
