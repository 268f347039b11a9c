#include "home_screen/ask/explanation.hpp"

#include <fmt/core.h>

#include <algorithm>

#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/mode.hpp"
#include "home_screen/ask/schedule.hpp"
#include "home_screen/ask/trial.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

constexpr std::int64_t mostDigitsTried = 15;

const char* yesOrNo(bool value) { return value ? "yes" : "no"; }

std::string nameOf(const std::optional<Entry>& entry) {
  if (!entry) return "";
  return entry->person.empty() ? entry->value : entry->person + ", " + entry->value;
}

std::string scheduleReason(Session& session) {
  const ScheduleAnswer answer = askAboutSchedule(session);
  const std::string periods = scheduleText(session);
  if (periods.empty()) return "no schedule is stored";
  if (!session.knows(PhonePart::schedule)) return "schedule " + periods;
  const std::string schedule = "schedule " + periods;
  const std::string day = weekdayName(answer.weekday);
  if (answer.suppressed()) return fmt::format("{}, but not on {}s", schedule, day);
  return fmt::format("{}{}, a {}", answer.active ? "" : "outside the ", schedule, day);
}

Condition phonesAnswer(Session& session, const GateLog& gate) {
  const auto& board = session.device().bulletinBoard;
  std::string source;
  if (board.platformAnswer != simulator::PlatformAnswer::automatic) {
    source = "as the scenario says";
  } else if (board.activeOverrideTypes != 0) {
    source = "an override is active on the phone";
  } else {
    source = scheduleReason(session);
  }
  return {"Phone's own answer", gate.phonePresents ? "present it" : "hold it back", source};
}

Condition doNotDisturb(Session& session, const GateLog& gate) {
  if (!gate.doNotDisturb) return {"Do Not Disturb", "off", scheduleReason(session)};
  std::string causes;
  if (session.device().bulletinBoard.manualDoNotDisturb()) causes = "by hand";
  if (askAboutSchedule(session).active) {
    causes += (causes.empty() ? "by the " : ", and by the ") + scheduleReason(session);
  }
  return {"Do Not Disturb", "on", causes.empty() ? "as the settings gateway was told" : causes};
}

std::vector<Change> candidates(Session& session) {
  std::vector<Change> all;
  for (const Mode& mode : modes()) all.push_back({modeKey, mode.value, mode.name});
  for (const ListedGroup& group : listGroups(session)) {
    all.push_back({modeKey, group.id, "group " + group.name});
  }
  for (std::int64_t digits = 1; digits <= mostDigitsTried; ++digits) {
    all.push_back({digitsKey, digits, fmt::format("{} digit{}", digits, digits == 1 ? "" : "s")});
  }
  const std::vector<int> suppressed = suppressedWeekdays(session);
  for (int weekday = 1; weekday <= 7; ++weekday) {
    const bool wasOff = std::count(suppressed.begin(), suppressed.end(), weekday) > 0;
    all.push_back(
        {weekdayKeys[weekday - 1], wasOff,
         fmt::format("{} on {}s", wasOff ? "schedule" : "no schedule", weekdayName(weekday))});
  }
  return all;
}

}  // namespace

Explainer::Explainer(Session& session)
    : session_(session), directory_(session.device().addressBook), settings_(settingsOf(session)) {}

Explanation Explainer::explain(const std::string& sender) const {
  const auto& [presented, gate] = askAboutMessage(session_, sender);
  const simulator::Clock& clock = session_.device().clock;
  Explanation explanation{
      sender, clock.local(clock.now()), clock.timeZone(), presented, {phonesAnswer(session_, gate)},
      {},     session_.unknown()};
  if (gate.phonePresents) return explanation;
  explanation.chain.push_back(doNotDisturb(session_, gate));
  if (gate.doNotDisturb) addModeConditions(sender, gate, explanation.chain);
  return explanation;
}

void Explainer::addModeConditions(const std::string& sender, const GateLog& gate,
                                  std::vector<Condition>& chain) const {
  chain.push_back({"Let through", modeName(gate.mode, directory_), settingSource(modeKey)});
  const Mode* mode = findMode(gate.mode);
  if (mode != nullptr && mode->test != nullptr) {
    chain.push_back({mode->test, yesOrNo(gate.presented),
                     gate.presented ? nameOf(directory_.foundIn(*mode, sender)) : ""});
  }
  if (gate.mode > 0) addGroupConditions(sender, gate, chain);
  if (!knowsWhomToLetThrough(session_, gate.mode)) {
    chain.back().value = "unknown";
    chain.back().source = notInBackup;
  }
}

void Explainer::addGroupConditions(const std::string& sender, const GateLog& gate,
                                   std::vector<Condition>& chain) const {
  if (!gate.digitsCompared) {
    chain.push_back({"Sender is", "an address", "there is an @ in it"});
    chain.push_back(
        {"A member's address", yesOrNo(gate.matchedAddress),
         gate.matchedAddress ? nameOf(directory_.memberWithAddress(gate.mode, sender)) : ""});
    return;
  }
  const std::string part =
      gate.tail == sender ? "the whole sender" : fmt::format("last {}", *gate.digitsCompared);
  chain.push_back({"Sender is", "a number", "there is no @ in it"});
  chain.push_back({"Tail compared", gate.tail.empty() ? "(empty)" : gate.tail,
                   part + "; " + settingSource(digitsKey)});
  chain.push_back({"A member's number", gate.matchedNumber.value_or("no"),
                   gate.matchedNumber
                       ? nameOf(directory_.memberWithDigits(gate.mode, *gate.matchedNumber))
                       : "none ends in the tail"});
}

std::string Explainer::settingSource(const std::string& key) const {
  id value = settings_ ? simulator::find(settings_.get(), key) : nullptr;
  if (!session_.knows(PhonePart::settings)) return key + " is " + unknownPart;
  return key + (value == nullptr ? " is not set" : " is " + simulator::describe(value));
}

std::vector<Change> Explainer::changesFor(const std::string& sender) {
  const bool before = askAboutMessage(session_, sender).presented;
  std::vector<Change> changes = candidates(session_);
  Steps steps(session_.showProgress, "settings", changes.size());
  std::erase_if(changes, [&](const Change& change) {
    steps.next();
    bool presented = before;
    trySettings(session_,
                simulator::PreferencesStore::changed(settings_.get(), change.key, change.value),
                [&] { presented = askAboutMessage(session_, sender).presented; });
    return presented == before;
  });
  return changes;
}

Explanation askToExplain(Session& session, const std::string& sender) {
  Explainer explainer(session);
  Explanation explanation = explainer.explain(sender);
  explanation.changes = explainer.changesFor(sender);
  return explanation;
}

}  // namespace home_screen
