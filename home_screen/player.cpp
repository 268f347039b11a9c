#include "home_screen/player.hpp"

#include <fmt/format.h>

#include <utility>

#include "simulator/runtime/object.hpp"

namespace home_screen {

Player::Player(simulator::Device& device, std::filesystem::path library, bool trace)
    : device_(device), libraryFile_(std::move(library)), trace_(trace) {
  simulator::keepZombies(true);
  for (const simulator::Person& person : device.addressBook.people()) {
    recordIds_.emplace(person.name, person.id);
  }
}

Player::~Player() {
  library_.reset();
  simulator::forgetZombies();
  simulator::keepZombies(false);
}

Outcome Player::start() {
  library_ = std::make_unique<simulator::LoadedLibrary>(libraryFile_);
  if (trace_) setDebugLogging(true);
  previous_ = Outcome{0, "start", {}, device_.log.take(), false, {}};
  return previous_;
}

Outcome Player::run(const Statement& statement) {
  const bool expectation = statement.command->kind == Command::Kind::expectation;
  Outcome outcome{statement.line, statement.text, {}, {}, expectation, {}};
  try {
    const simulator::AutoreleasePool pool;
    outcome.output = statement.action(*this);
  } catch (const Unexpected& unexpected) {
    outcome.failure = unexpected.what();
  } catch (const simulator::PlatformException& exception) {
    outcome.output = {fmt::format("raised {}", exception.what())};
  }
  simulator::forgetZombies();
  outcome.log = device_.log.take();
  if (!expectation) previous_ = outcome;
  return outcome;
}

void Player::post(const std::string& notification) {
  device_.post(notification);
  if (trace_) setDebugLogging(true);
}

void Player::setDebugLogging(bool on) { library_->value<bool>("enableDebugLogging") = on; }

std::int32_t Player::addPerson(const std::string& name, const std::vector<std::string>& phones,
                               const std::vector<std::string>& emails) {
  const std::int32_t recordId = device_.addressBook.addPerson(name, phones, emails);
  recordIds_.emplace(name, recordId);
  return recordId;
}

std::int32_t Player::addGroup(const std::string& name, const std::vector<std::string>& members) {
  std::vector<std::int32_t> recordIds;
  recordIds.reserve(members.size());
  for (const std::string& member : members) recordIds.push_back(recordIds_.at(member));
  return device_.addressBook.addGroup(name, recordIds);
}

KnownPeople peopleOf(const simulator::Device& device) {
  KnownPeople people;
  for (const simulator::Person& person : device.addressBook.people()) ++people[person.name];
  return people;
}

int play(const std::vector<Statement>& scenario, Player& player,
         const std::function<void(const Outcome&)>& show) {
  auto next = scenario.begin();
  std::vector<Outcome> beforeStart;
  while (next != scenario.end() && next->command->kind == Command::Kind::beforeStart) {
    beforeStart.push_back(player.run(*next++));
  }
  show(player.start());
  for (const Outcome& outcome : beforeStart) show(outcome);

  int failures = 0;
  for (; next != scenario.end(); ++next) {
    const Outcome outcome = player.run(*next);
    if (outcome.failure) ++failures;
    show(outcome);
  }
  return failures;
}

}  // namespace home_screen
