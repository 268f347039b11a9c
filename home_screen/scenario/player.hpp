// Plays the statements of a scenario in a session.
#pragma once

#include <functional>
#include <vector>

#include "home_screen/scenario/reader.hpp"

namespace home_screen {

class Player {
 public:
  // Reads the address book, for the people whom groups may name.
  explicit Player(Session& session);

  // Starts the host. Throws std::runtime_error when the library can't be loaded.
  Outcome start();

  // Runs one statement. Only those that come before the start may run before `start`. Throws
  // DeviceError and GivenUp; an exception of the platform becomes an output line.
  Outcome run(const Statement& statement);

 private:
  Stage stage_;
};

People peopleOf(const Session& session);

// Plays a whole scenario and hands every outcome on, the start of the host first. Gives the number
// of expectations that did not come true.
int play(const std::vector<Statement>& scenario, Session& session,
         const std::function<void(const Outcome&)>& show);

}  // namespace home_screen
