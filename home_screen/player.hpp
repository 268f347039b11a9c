// Plays the statements of a scenario on the phone, with the library in it.
//
// The thread of the home screen. The device must outlive the player, which unloads the library at
// its end. While it lives, freed objects are kept to the end of each command, so that a library
// that still uses one stops the program with a message.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "home_screen/scenario.hpp"
#include "simulator/device.hpp"
#include "simulator/loader.hpp"

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

class Player {
 public:
  // With `trace`, the library's debug logging is set again after each load of its settings.
  Player(simulator::Device& device, std::filesystem::path library, bool trace);
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  ~Player();

  // Starts the host, which loads the library. Throws std::runtime_error when it can't be loaded.
  Outcome start();

  // Runs one statement. Only those that come before the start may run before `start`. Throws
  // DeviceError; an exception of the platform becomes an output line.
  Outcome run(const Statement& statement);

  // ---- For the commands ----

  simulator::Device& device() { return device_; }
  const simulator::LoadedLibrary& library() const { return *library_; }
  const Outcome& previous() const { return previous_; }  // the command that expectations judge

  void post(const std::string& notification);
  void setDebugLogging(bool on);

  std::int32_t addPerson(const std::string& name, const std::vector<std::string>& phones,
                         const std::vector<std::string>& emails);
  std::int32_t addGroup(const std::string& name, const std::vector<std::string>& members);

 private:
  simulator::Device& device_;
  std::filesystem::path libraryFile_;
  bool trace_;
  std::unique_ptr<simulator::LoadedLibrary> library_;
  std::map<std::string, std::int32_t> recordIds_;
  Outcome previous_;
};

KnownPeople peopleOf(const simulator::Device& device);

// Plays a whole scenario and hands every outcome on, the start of the host first. Gives the number
// of expectations that did not come true.
int play(const std::vector<Statement>& scenario, Player& player,
         const std::function<void(const Outcome&)>& show);

}  // namespace home_screen
