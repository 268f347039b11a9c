#include "home_screen/demo.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "home_screen/directory.hpp"
#include "home_screen/evening.hpp"
#include "home_screen/player.hpp"
#include "home_screen/reason.hpp"
#include "home_screen/report.hpp"
#include "home_screen/scratch_phone.hpp"
#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

constexpr const char* scenarioName = "evening.scenario";

constexpr std::size_t nameWidth = 14;
constexpr std::size_t senderWidth = 19;
constexpr std::size_t resultWidth = 11;

// What two spellings of a number or of an address have in common.
std::string withoutSpelling(const std::string& destination) {
  const bool address = destination.find('@') != std::string::npos;
  std::string result;
  for (const char letter : destination) {
    const auto code = static_cast<unsigned char>(letter);
    if (address) result += static_cast<char>(std::tolower(code));
    if (!address && std::isdigit(code) != 0) result += letter;
  }
  return result;
}

class Evening {
 public:
  explicit Evening(Player& player) : player_(player), addressBook_(player.device().addressBook) {}

  void show(const Statement& statement, const Outcome& outcome) {
    const bool message = statement.command->name == "message";
    if (!message && statement.command->name != "notification") return;
    if (situation_.empty()) showPeople();
    showSituation();
    showArrival(statement.arguments.back().text, outcome);
  }

 private:
  void showPeople() const {
    fmt::print("On the phone:\n");
    for (const simulator::Person& person : addressBook_.people()) {
      const std::vector<std::string> destinations = destinationsOf(person);
      Lines marks;
      for (const simulator::Group& group : addressBook_.groups()) {
        if (std::count(group.members.begin(), group.members.end(), person.id) > 0) {
          marks.push_back("group " + group.name);
        }
      }
      if (std::any_of(destinations.begin(), destinations.end(), [this](const std::string& each) {
            return addressBook_.favouritesContain(each);
          })) {
        marks.push_back("favourite");
      }
      fmt::print("  {}{}{}\n", padded(person.name, nameWidth),
                 padded(fmt::format("{}", fmt::join(destinations, ", ")), 44),
                 fmt::join(marks, ", "));
    }
  }

  // The time, and what the library holds at it; again only when that has changed.
  void showSituation() {
    const simulator::Clock& clock = player_.device().clock;
    const bool active = player_.library().value<bool>("isDNDActive");
    std::string situation = fmt::format("{}  Do Not Disturb {}",
                                        formatLocalTime(clock.local(clock.now())).substr(11, 5),
                                        active ? "on, let through: " + allowed() : "off");
    if (situation == situation_) return;
    situation_ = std::move(situation);
    fmt::print("\n{}\n", toned(situation_, Tone::strong));
  }

  std::string allowed() const {
    const auto mode = player_.library().value<std::int64_t>("allowedMessageGroup");
    for (const simulator::Group& group : addressBook_.groups()) {
      if (group.id == mode) return "the group " + group.name;
    }
    return modeName(mode);
  }

  void showArrival(const std::string& sender, const Outcome& outcome) const {
    const std::string& result = outcome.output.back();
    fmt::print("  {}{}{}{}\n", padded(nameOf(sender), nameWidth), padded(sender, senderWidth),
               toned(padded(result, resultWidth), result == "presented" ? Tone::good : Tone::bad),
               reasonFor(outcome.log));
  }

  std::string nameOf(const std::string& sender) const {
    for (const simulator::Person& person : addressBook_.people()) {
      for (const std::string& destination : destinationsOf(person)) {
        if (withoutSpelling(destination) == withoutSpelling(sender)) return person.name;
      }
    }
    return "(a stranger)";
  }

  Player& player_;
  const simulator::AddressBookStore& addressBook_;
  std::string situation_;
};

}  // namespace

int runDemo(const std::filesystem::path& library) {
  std::istringstream text(eveningScenario);
  const std::vector<Statement> scenario = readScenario(text, scenarioName, {});

  const ScratchPhone scratch(std::nullopt);
  simulator::Device device(scratch.root());
  Player player(device, library, true);
  player.start();

  fmt::print(
      "An evening on a simulated phone. The library that would run on a real one\n"
      "decides; the reasons are read from its own log.\n\n");
  Evening evening(player);
  int failures = 0;
  for (const Statement& statement : scenario) {
    const Outcome outcome = player.run(statement);
    evening.show(statement, outcome);
    if (outcome.failure) {
      ++failures;
      complainAboutFailure(outcome, scenarioName);
    }
  }
  fmt::print("\nPlay an evening of your own: hushlane-sim play --help\n");
  return failures;
}

}  // namespace home_screen
