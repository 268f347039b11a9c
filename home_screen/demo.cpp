#include "home_screen/demo.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/message.hpp"
#include "home_screen/built_in.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/show/terminal.hpp"
#include "home_screen/show/text.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

constexpr const char* scenarioName = "evening.scenario";

constexpr std::size_t nameWidth = 14;
constexpr std::size_t destinationsWidth = 44;
constexpr std::size_t senderWidth = 19;
constexpr std::size_t resultWidth = 11;

// ---- What is asked -----------------------------------------------------------------------------

struct Known {
  std::string name;
  Lines destinations;
  Lines marks;  // "group Family", "favourite"
};

struct Scene {
  std::string situation;  // the time, and what the library holds at it
  std::string person;
  std::string sender;
  bool presented;
  std::string reason;
};

std::vector<Known> askPeople(const Session& session, const Directory& directory) {
  const simulator::AddressBookStore& addressBook = session.device().addressBook;
  std::vector<Known> people;
  for (const simulator::Person& person : directory.people()) {
    Known& known = people.emplace_back(Known{person.name, destinationsOf(person), {}});
    for (const simulator::Group& group : directory.groups()) {
      if (std::ranges::count(group.members, person.id) > 0)
        known.marks.push_back("group " + group.name);
    }
    if (std::ranges::any_of(known.destinations, [&](const std::string& each) {
          return addressBook.favouritesContain(each);
        })) {
      known.marks.emplace_back("favourite");
    }
  }
  return people;
}

std::string askSituation(const Session& session, const Directory& directory) {
  const simulator::Clock& clock = session.device().clock;
  const std::string time = formatTime("%R", clock.local(clock.now())) + "  Do Not Disturb ";
  if (!session.library().isDNDActive) return time + "off";
  const std::int64_t mode = session.library().allowedMessageGroup;
  return time + "on, let through: " + (directory.group(mode) == nullptr ? "" : "the ") +
         modeName(mode, directory);
}

Scene sceneOf(const Session& session, const Directory& directory, const Statement& statement,
              const Outcome& outcome) {
  const std::string& sender = statement.arguments.back().text;
  const auto contact = directory.contactLike(sender);
  return {askSituation(session, directory), contact ? contact->person : "(a stranger)", sender,
          outcome.output.back() == answerName(true), reasonFor(outcome.log)};
}

// ---- What is shown -----------------------------------------------------------------------------

void showPeople(const std::vector<Known>& people) {
  fmt::print("On the phone:\n");
  for (const Known& known : people) {
    fmt::print("  {}{}{}\n", padded(known.name, nameWidth),
               padded(fmt::format("{}", fmt::join(known.destinations, ", ")), destinationsWidth),
               fmt::join(known.marks, ", "));
  }
}

void showSituation(const std::string& situation) {
  fmt::print("\n{}\n", toned(situation, Tone::strong));
}

void showArrival(const Scene& scene) {
  fmt::print("  {}{}{}{}\n", padded(scene.person, nameWidth), padded(scene.sender, senderWidth),
             toned(padded(answerName(scene.presented), resultWidth),
                   scene.presented ? Tone::good : Tone::bad),
             printable(scene.reason));
}

// ------------------------------------------------------------------------------------------------

bool isArrival(const Statement& statement) {
  return statement.command->name == "message" || statement.command->name == "notification";
}

}  // namespace

int runDemo(Session& session) {
  std::istringstream text(eveningScenario);
  const std::vector<Statement> scenario = readScenario(text, scenarioName, {});
  session.keepLogging();
  Player player(session);
  player.start();

  fmt::print(
      "An evening on a simulated phone. The library that would run on a real one\n"
      "decides; the reasons are read from its own log.\n\n");
  std::optional<Directory> directory;  // as it is at the first message
  std::string situation;
  int failures = 0;
  for (const Statement& statement : scenario) {
    const Outcome outcome = player.run(statement);
    if (isArrival(statement)) {
      if (!directory) {
        directory.emplace(session.device().addressBook);
        showPeople(askPeople(session, *directory));
      }
      const Scene scene = sceneOf(session, *directory, statement, outcome);
      if (scene.situation != situation) showSituation(situation = scene.situation);
      showArrival(scene);
    }
    complainAboutFailure(outcome, scenarioName);
    if (outcome.failure) ++failures;
  }
  fmt::print("\nPlay an evening of your own: hushlane-sim play --help\n");
  return failures;
}

}  // namespace home_screen
