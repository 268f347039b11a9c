#include "home_screen/ask/digits.hpp"

#include <algorithm>
#include <vector>

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/trial.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

constexpr std::int64_t fewest = 5;
constexpr std::int64_t most = 15;

// For each person, by the settings that are loaded: does one of the numbers get through?
std::vector<bool> askWhoMatches(Session& session, const Directory& directory, Steps& steps) {
  std::vector<bool> through;
  for (const simulator::Person& person : directory.people()) {
    steps.next();
    through.push_back(std::ranges::any_of(person.phones, [&](const std::string& number) {
      const auto sender = senderOf(number);
      return sender && askMatcher(session, *sender);
    }));
  }
  return through;
}

}  // namespace

Digits askDigits(Session& session) {
  const Directory directory(session.device().addressBook);
  const std::vector<simulator::Person>& people = directory.people();
  const std::int64_t mode = session.library().allowedMessageGroup;
  Digits answer{modeName(mode, directory), mode > 0, session.library().maxNumOfDigitsToCompare, {}};
  if (!answer.isGroup) return answer;
  Steps steps(session.showProgress, "people", people.size() * (1 + 2 * (most - fewest + 1)));
  const std::vector<bool> now = askWhoMatches(session, directory, steps);
  const SettingsHeld settings = settingsOf(session);
  for (std::int64_t digits = fewest; digits <= most; ++digits) {
    const auto changed = simulator::PreferencesStore::changed(settings.get(), digitsKey, digits);
    trySettings(session, changed, [&] {
      const std::vector<bool> then = askWhoMatches(session, directory, steps);
      Digits::Row& row = answer.rows.emplace_back();
      row.digits = digits;
      row.shared = askSharedTails(session, directory, steps);
      for (std::size_t i = 0; i < people.size(); ++i) {
        if (then[i]) ++row.through;
        if (then[i] == now[i]) continue;
        (then[i] ? row.gained : row.lost).push_back({people[i].id, people[i].name});
      }
    });
  }
  return answer;
}

}  // namespace home_screen
