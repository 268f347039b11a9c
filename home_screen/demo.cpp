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
#include "home_screen/evening.hpp"
#include "home_screen/scenario/player.hpp"
#include "home_screen/show/terminal.hpp"
#include "home_screen/show/text.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

constexpr const char* scenarioName = "evening.scenario";

constexpr std::size_t nameWidth = 14;
constexpr std::size_t senderWidth = 19;
constexpr std::size_t resultWidth = 11;

class Evening {
 public:
  explicit Evening(Session& session) : session_(session) {}

  void show(const Statement& statement, const Outcome& outcome) {
    const bool message = statement.command->name == "message";
    if (!message && statement.command->name != "notification") return;
    if (!directory_) showPeople(directory_.emplace(session_.device().addressBook));
    showSituation();
    showArrival(statement.arguments.back().text, outcome);
  }

 private:
  void showPeople(const Directory& directory) const {
    const simulator::AddressBookStore& addressBook = session_.device().addressBook;
    fmt::print("On the phone:\n");
    for (const simulator::Person& person : directory.people()) {
      const Lines destinations = destinationsOf(person);
      Lines marks;
      for (const simulator::Group& group : directory.groups()) {
        if (std::ranges::count(group.members, person.id) > 0)
          marks.push_back("group " + group.name);
      }
      if (std::ranges::any_of(destinations, [&](const std::string& each) {
            return addressBook.favouritesContain(each);
          })) {
        marks.emplace_back("favourite");
      }
      fmt::print("  {}{}{}\n", padded(person.name, nameWidth),
                 padded(fmt::format("{}", fmt::join(destinations, ", ")), 44),
                 fmt::join(marks, ", "));
    }
  }

  // The time, and what the library holds at it; again only when that has changed.
  void showSituation() {
    const simulator::Clock& clock = session_.device().clock;
    std::string situation =
        formatTime("%R", clock.local(clock.now())) + "  Do Not Disturb " +
        (session_.library().isDNDActive ? "on, let through: " + allowed() : "off");
    if (situation == situation_) return;
    situation_ = std::move(situation);
    fmt::print("\n{}\n", toned(situation_, Tone::strong));
  }

  std::string allowed() const {
    const std::int64_t mode = session_.library().allowedMessageGroup;
    return (directory_->group(mode) == nullptr ? "" : "the ") + modeName(mode, *directory_);
  }

  void showArrival(const std::string& sender, const Outcome& outcome) const {
    const auto contact = directory_->contactLike(sender);
    const std::string& result = outcome.output.back();
    fmt::print(
        "  {}{}{}{}\n", padded(contact ? contact->person : "(a stranger)", nameWidth),
        padded(sender, senderWidth),
        toned(padded(result, resultWidth), result == answerName(true) ? Tone::good : Tone::bad),
        printable(reasonFor(outcome.log)));
  }

  Session& session_;
  std::optional<Directory> directory_;  // as it is at the first message
  std::string situation_;
};

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
  Evening evening(session);
  int failures = 0;
  for (const Statement& statement : scenario) {
    const Outcome outcome = player.run(statement);
    evening.show(statement, outcome);
    complainAboutFailure(outcome, scenarioName);
    if (outcome.failure) ++failures;
  }
  fmt::print("\nPlay an evening of your own: hushlane-sim play --help\n");
  return failures;
}

}  // namespace home_screen
