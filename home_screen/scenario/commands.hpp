// The commands of the scenario language, as one table. Whatever reads, runs, explains or completes
// a command goes by its row.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "home_screen/session/session.hpp"

namespace home_screen {

// What a command did.
struct Outcome {
  int line = 0;
  std::string command;
  Lines output;
  Lines log;                           // the platform log texts written during it
  bool expectation = false;            // it judged the command before it
  std::optional<std::string> failure;  // why it did, if the judgement was no
};

// The record IDs of all people of each name. While a scenario is only read, that of somebody new is
// not known yet.
using People = std::multimap<std::string, std::int64_t>;

// What commands run on.
struct Stage {
  Session& session;
  People people;
  Outcome previous;  // the command that expectations judge

  simulator::Device& phone() const { return session.device(); }
};

// A command with its arguments read: runs and gives its output.
using Action = std::function<Lines(Stage&)>;

// Words that can't be read: says what is wrong, and what was expected.
class BadWords : public std::runtime_error {
 public:
  explicit BadWords(const std::string& what) : std::runtime_error(printable(what)) {}
};

struct Word {
  std::string text;
  bool quoted = false;
};
using Words = std::vector<Word>;

class Arguments;

struct Command {
  enum class Kind {
    ordinary,
    beforeStart,  // only before every other command: the library is not loaded yet
    expectation,  // judges the command before it: its output is what did not come true
  };

  std::string_view name;
  // Brackets around what may be left out, `...` behind what may come often, `|` between choices.
  std::string_view arguments;
  std::string_view help;
  Action (*read)(Arguments&);
  Kind kind = Kind::ordinary;
  std::span<const char* const> known = {};  // values of the first argument, for completion

  std::string usage() const;
};

std::span<const Command> commandTable();
const Command* findCommand(std::string_view name);  // null when there is none

// Throws BadWords. Runs nothing, but keeps account of the people.
Action readCommand(const Command& command, const Words& arguments, People& people);

// What may stand at the place of an argument of the command, as far as it is known.
Lines possibleArguments(const Command& command);

// The usage and what it does; all of them, for people who ask for help.
std::string describeCommand(const Command& command);
std::string describeCommands();

}  // namespace home_screen
