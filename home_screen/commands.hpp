// The commands of the scenario language, as one table. Whatever reads, runs, explains or completes
// a command goes by its row.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "home_screen/notation.hpp"

namespace home_screen {

class Player;

struct Word {
  std::string text;
  bool quoted = false;
};
using Words = std::vector<Word>;

// A command with its arguments read: runs on the player and gives its output.
using Action = std::function<Lines(Player&)>;

// How many people of each name there are at this point of a scenario.
using KnownPeople = std::map<std::string, int>;

// An argument that can't be read: says what is wrong; the row's usage says what was expected.
class BadArgument : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An expectation that did not come true: says what was expected, and what came.
class Unexpected : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Command {
  enum class Kind {
    beforeStart,  // only before every other command: the library is not loaded yet
    ordinary,
    expectation,  // judges the command before it
  };
  static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

  std::string_view name;
  std::string_view usage;
  std::string_view help;
  Kind kind;
  std::size_t fewestArguments;
  std::size_t mostArguments;
  // Throws BadArgument. Runs nothing, but keeps account of the people.
  Action (*prepare)(const Words& arguments, KnownPeople& people);
};

std::span<const Command> commandTable();
const Command* findCommand(std::string_view name);  // null when there is none

// The usage and what it does; all of them, for people who ask for help.
std::string describeCommand(const Command& command);
std::string describeCommands();

}  // namespace home_screen
