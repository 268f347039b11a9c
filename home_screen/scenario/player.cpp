#include "home_screen/scenario/player.hpp"

#include "home_screen/session/interruption.hpp"
#include "simulator/device.hpp"
#include "simulator/runtime/object.hpp"

namespace home_screen {

Player::Player(Session& session) : stage_{session, peopleOf(session), {}} {}

Outcome Player::start() {
  stage_.session.start();
  stage_.previous = Outcome{0, "start", {}, stage_.session.takeLog(), false, {}};
  return stage_.previous;
}

Outcome Player::run(const Statement& statement) {
  const bool expectation = statement.command->kind == Command::Kind::expectation;
  Outcome outcome{statement.line, statement.text, {}, {}, expectation, {}};
  try {
    const simulator::AutoreleasePool pool;
    giveUpIfInterrupted();
    outcome.output = statement.action(stage_);
  } catch (const simulator::PlatformException& exception) {
    outcome.output = {std::string("raised ") + exception.what()};
  } catch (const GivenUp&) {
    stage_.session.takeLog();  // the next statement's is its own
    throw;
  }
  if (expectation && !outcome.output.empty()) outcome.failure = outcome.output.front();
  if (expectation) outcome.output.clear();
  simulator::forgetZombies();
  outcome.log = stage_.session.takeLog();
  if (!expectation) stage_.previous = outcome;
  return outcome;
}

People peopleOf(const Session& session) {
  People people;
  for (const simulator::Person& person : session.device().addressBook.people()) {
    people.emplace(person.name, person.id);
  }
  return people;
}

int play(const std::vector<Statement>& scenario, Session& session,
         const std::function<void(const Outcome&)>& show) {
  Player player(session);
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
