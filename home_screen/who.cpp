#include "home_screen/who.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>
#include <set>

#include "home_screen/directory.hpp"
#include "home_screen/inquiry.hpp"
#include "home_screen/reason.hpp"
#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

constexpr std::size_t valueColumn = 17;
constexpr std::size_t resultColumn = 41;
constexpr std::size_t resultWidth = 11;

std::string lineWith(const std::string& name, const std::string& value) {
  return withColumn("  " + printable(name), valueColumn, value);
}

std::optional<Entry> entryBehind(const GateLog& gate, const std::string& sender,
                                 const Directory& directory) {
  if (gate.matchedNumber) return directory.memberWithDigits(gate.mode, *gate.matchedNumber);
  if (gate.matchedAddress) return directory.memberWithAddress(gate.mode, sender);
  if (gate.mode == -300 || gate.mode == -400) return directory.contactLike(sender);
  return std::nullopt;
}

// By which entry, and whose it is when it is another person's.
std::string wayThrough(const Arrival& arrival, const std::string& person, const std::string& sender,
                       const Directory& directory) {
  const GateLog& gate = arrival.gate;
  const bool asked = gate.doNotDisturb && !gate.phonePresents;
  if (asked && !arrival.presented && gate.digitsCompared) {
    return "none ends in " + printable(gate.tail);
  }
  const auto entry =
      asked && arrival.presented ? entryBehind(gate, sender, directory) : std::nullopt;
  if (!entry) return reasonFor(arrival.log);
  const std::string by = "by " + printable(gate.matchedNumber.value_or(entry->value));
  return entry->person == person ? by : fmt::format("{} ({})", by, printable(entry->person));
}

class Table {
 public:
  Table(Player& player, const Directory& directory) : player_(player), directory_(directory) {}

  void show(const simulator::Person& person) {
    std::string name = person.name.empty() ? "(no name)" : person.name;
    for (const std::string& number : person.phones) {
      showRow(name, person, number, senderFrom(number));
      name.clear();
    }
    for (const std::string& address : person.emails) {
      showRow(name, person, address, address);
      name.clear();
    }
    if (!name.empty()) fmt::print("{}\n", lineWith(name, "(neither number nor address)"));
  }

 private:
  void showRow(const std::string& name, const simulator::Person& person, const std::string& value,
               const std::string& sender) {
    const Arrival arrival = askAboutMessage(player_, sender);
    const std::string result = padded(arrival.presented ? "through" : "held back", resultWidth);
    fmt::print("{}{}\n",
               withColumn(lineWith(name, printable(value)), resultColumn,
                          toned(result, arrival.presented ? Tone::good : Tone::bad)),
               wayThrough(arrival, person.name, sender, directory_));
  }

  Player& player_;
  const Directory& directory_;
};

void showSharedTails(Player& player, const Directory& directory) {
  std::map<std::string, std::map<std::int32_t, std::string>> owners;  // tail, record ID, name
  for (const simulator::Person& person : directory.people()) {
    for (const std::string& number : person.phones) {
      const std::string tail = askForTail(player, digitsOf(number));
      if (!tail.empty()) owners[tail].emplace(person.id, person.name);
    }
  }
  const auto digits = player.library().value<std::int64_t>("maxNumOfDigitsToCompare");
  bool found = false;
  for (const auto& [tail, people] : owners) {
    if (people.size() < 2) continue;
    if (!found) fmt::print("\nOne tail, different people (compared by {}):\n", digits);
    found = true;
    Lines names;
    for (const auto& [recordId, name] : people) names.push_back(printable(name));
    fmt::print("{}\n", lineWith(tail, fmt::format("{}", fmt::join(names, ", "))));
  }
  if (!found) fmt::print("\nNo two people share a tail (compared by {}).\n", digits);
}

}  // namespace

std::string senderFrom(std::string_view storedNumber) {
  constexpr std::string_view inBetween = " -()./+\xc2\xa0";
  std::string sender;
  for (const char letter : storedNumber) {
    if (letter >= '0' && letter <= '9') {
      sender += letter;
    } else if (letter == '+' && sender.empty()) {
      sender = "+";
    } else if (!sender.empty() && inBetween.find(letter) == std::string_view::npos) {
      break;
    }
  }
  return sender;
}

void showWho(Player& player) {
  const Directory directory(player.device().addressBook);
  const simulator::Clock& clock = player.device().clock;
  const auto& library = player.library();
  const bool active = library.value<bool>("isDNDActive");
  fmt::print("{}: Do Not Disturb {}", formatMoment(clock.local(clock.now())),
             active ? "on, let through: " : "off, so that all get through");
  if (active) {
    fmt::print("{}",
               printable(modeName(library.value<std::int64_t>("allowedMessageGroup"), directory)));
  }
  fmt::print("\n\n");
  if (directory.people().empty()) {
    fmt::print("The address book is empty.\n");
    return;
  }
  Table table(player, directory);
  for (const simulator::Person& person : directory.people()) table.show(person);
  showSharedTails(player, directory);
  fmt::print("\nA number is asked about as a message bears it: digits behind a leading +.\n");
}

}  // namespace home_screen
