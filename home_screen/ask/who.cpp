#include "home_screen/ask/who.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/message.hpp"
#include "home_screen/ask/mode.hpp"
#include "home_screen/ask/schedule.hpp"
#include "home_screen/ask/trial.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

std::optional<Entry> entryBehind(const GateLog& gate, const std::string& sender,
                                 const Directory& directory) {
  if (gate.matchedNumber) return directory.memberWithDigits(gate.mode, *gate.matchedNumber);
  if (gate.matchedAddress) return directory.memberWithAddress(gate.mode, sender);
  const Mode* mode = findMode(gate.mode);
  if (mode != nullptr && mode->test != nullptr) return directory.foundIn(*mode, sender);
  return std::nullopt;
}

bool isSame(const std::string& destination, const std::string& sender) {
  simulator::DestinationIndex one;
  one.add(destination);
  return one.find(sender).has_value();
}

// Of an answer about one entry of a person.
std::string reasonNaming(const GateLog& gate, const simulator::Person& person,
                         const std::string& value, const std::string& sender,
                         const Directory& directory) {
  if (!gate.doNotDisturb && gate.presented) return "";
  const bool asked = gate.doNotDisturb && !gate.phonePresents;
  if (asked && !gate.presented && gate.digitsCompared) return "none ends in " + gate.tail;
  auto entry = asked && gate.presented ? entryBehind(gate, sender, directory) : std::nullopt;
  if (!entry) return reasonFor(gate);
  // Of several contacts that are alike, the phone may have found this one as well.
  const bool isContact = gate.mode == HushlaneAllowedMessageGroupAllContacts;
  if (isContact && isSame(value, sender)) entry = {person.id, person.name, value};
  const std::string by = "by " + gate.matchedNumber.value_or(entry->value);
  return entry->personId == person.id || !entry->personId ? by : by + " (" + entry->person + ")";
}

Who::Person askAbout(Session& session, const simulator::Person& person,
                     const Directory& directory) {
  Who::Person answer{person.id, person.name, {}};
  const auto ask = [&](const std::string& value, const std::optional<std::string>& sender) {
    if (!sender) {
      answer.entries.push_back({value, sender, false, "no digits: no message bears it"});
      return;
    }
    const auto [presented, gate] = askAboutMessage(session, *sender);
    const bool known =
        !gate.doNotDisturb || gate.phonePresents || knowsWhomToLetThrough(session, gate.mode);
    answer.entries.push_back(
        {value, sender, presented,
         known ? reasonNaming(gate, person, value, *sender, directory) : unknownPart});
  };
  for (const std::string& number : person.phones) ask(number, senderOf(number));
  for (const std::string& address : person.emails) ask(address, address);
  return answer;
}

std::vector<Who::Person> askAboutAll(Session& session, const Directory& directory) {
  std::vector<Who::Person> answers;
  Steps steps(session.showProgress, "people", directory.people().size());
  for (const simulator::Person& person : directory.people()) {
    steps.next();
    answers.push_back(askAbout(session, person, directory));
  }
  return answers;
}

// A tail depends on the digits alone, but with a group the matcher would also look for it among all
// members.
SettingsHeld withoutGroup(const Session& session) {
  using simulator::PreferencesStore;
  const auto nobody =
      PreferencesStore::changed(nullptr, modeKey, std::int64_t{HushlaneAllowedMessageGroupNobody});
  return PreferencesStore::changed(nobody.get(), digitsKey,
                                   session.library().maxNumOfDigitsToCompare);
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

std::optional<std::string> senderOf(const std::string& storedNumber) {
  if (storedNumber.find('@') != std::string::npos) return storedNumber;
  std::string sender = senderFrom(storedNumber);
  return simulator::digitsOf(sender).empty() ? std::nullopt : std::optional(std::move(sender));
}

std::vector<Who::SharedTail> askSharedTails(Session& session, const Directory& directory,
                                            Steps& steps) {
  // By tail: the record IDs and names.
  std::unordered_map<std::string, std::map<std::int64_t, std::string>> owners;
  trySettings(session, withoutGroup(session), [&] {
    for (const simulator::Person& person : directory.people()) {
      steps.next();
      for (const std::string& number : person.phones) {
        const std::string tail = askForTail(session, simulator::digitsOf(number));
        if (!tail.empty()) owners[tail].emplace(person.id, person.name);
      }
    }
  });
  std::vector<Who::SharedTail> shared;
  for (const auto& [tail, people] : owners) {
    if (people.size() < 2) continue;
    shared.push_back({tail, {}});
    for (const auto& [recordId, name] : people) shared.back().people.push_back({recordId, name});
  }
  std::ranges::sort(shared, {}, &Who::SharedTail::tail);
  return shared;
}

Who askWho(Session& session) {
  const Directory directory(session.device().addressBook);
  const simulator::Clock& clock = session.device().clock;
  const Exports& library = session.library();
  Who who{clock.local(clock.now()),
          clock.timeZone(),
          library.isDNDActive,
          library.isDNDActive ? std::nullopt : nextNight(session),
          modeName(library.allowedMessageGroup, directory),
          {},
          library.allowedMessageGroup > 0,
          library.maxNumOfDigitsToCompare,
          {},
          {}};
  who.people = askAboutAll(session, directory);
  if (who.isGroup) {
    Steps steps(session.showProgress, "people's tails", who.people.size());
    who.sharedTails = askSharedTails(session, directory, steps);
  }
  who.unknown = session.unknown();
  return who;
}

}  // namespace home_screen
