#include "home_screen/explain.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "home_screen/reason.hpp"
#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

constexpr const char* modeKey = "allowedMessageGroup";
constexpr const char* digitsKey = "maxNumOfDigitsToCompare";
constexpr std::int64_t mostDigitsTried = 15;

const char* yesOrNo(bool value) { return value ? "yes" : "no"; }

std::string nameOf(const std::optional<Entry>& entry) {
  return entry ? fmt::format("{}, {}", entry->person, entry->value) : "";
}

std::string weekdayKey(int weekday) { return fmt::format("schedulerWeekday_{}", weekday); }

// One setting other than it was, for as long as this lives.
class Trial {
 public:
  Trial(Player& player, const simulator::Dictionary* settings, const Change& change)
      : player_(player), key_(change.key) {
    if (settings != nullptr)
      before_ = simulator::share(simulator::header(simulator::find(settings, key_)));
    player_.device().preferences.set(simulator::settingsDomain, key_, change.value);
    reload(player_);
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  ~Trial() {
    auto& preferences = player_.device().preferences;
    if (before_) {
      preferences.set(simulator::settingsDomain, key_, static_cast<id>(before_.get()));
    } else {
      preferences.unset(simulator::settingsDomain, key_);
    }
  }

  static void reload(Player& player) { player.post("org.mernwick.hushlane.reloadsettings"); }

 private:
  Player& player_;
  std::string key_;
  simulator::Owned<simulator::Object> before_;
};

}  // namespace

Explainer::Explainer(Player& player)
    : player_(player),
      directory_(player.device().addressBook),
      settings_(player.device().preferences.domain(simulator::settingsDomain)) {}

Explanation Explainer::explain(const std::string& sender) const {
  const Arrival arrival = askAboutMessage(player_, sender);
  const GateLog& gate = arrival.gate;
  Explanation explanation{sender, arrival.presented, {}};
  explanation.chain = {phonesAnswer(gate)};
  if (gate.phonePresents) return explanation;
  explanation.chain.push_back(doNotDisturb(gate));
  if (gate.doNotDisturb) addModeConditions(sender, arrival, explanation.chain);
  return explanation;
}

Condition Explainer::phonesAnswer(const GateLog& gate) const {
  const auto& board = player_.device().bulletinBoard;
  std::string source;
  if (board.platformAnswer != simulator::PlatformAnswer::automatic) {
    source = "as the scenario says";
  } else if (board.activeOverrideTypes != 0) {
    source = "an override is active on the phone";
  } else {
    source = scheduleReason();
  }
  return {"Phone's own answer", gate.phonePresents ? "present it" : "hold it back", source};
}

Condition Explainer::doNotDisturb(const GateLog& gate) const {
  if (!gate.doNotDisturb) return {"Do Not Disturb", "off", scheduleReason()};
  std::vector<std::string> causes;
  if (player_.device().bulletinBoard.manualDoNotDisturb()) causes.emplace_back("by hand");
  if (askAboutSchedule(player_, player_.device().clock.now()).active) {
    causes.push_back("by the " + scheduleReason());
  }
  if (causes.empty()) causes.emplace_back("as the settings gateway was told");
  return {"Do Not Disturb", "on", fmt::format("{}", fmt::join(causes, ", and "))};
}

std::string Explainer::scheduleReason() const {
  const ScheduleAnswer answer = askAboutSchedule(player_, player_.device().clock.now());
  const std::string periods = scheduleText(player_.device().bulletinBoard);
  if (periods.empty()) return "no schedule is stored";
  const std::string schedule = "schedule " + periods;
  const std::string day = weekdayName(answer.weekday);
  if (answer.suppressed()) return fmt::format("{}, but not on {}s", schedule, day);
  return fmt::format("{}{}, a {}", answer.active ? "" : "outside the ", schedule, day);
}

void Explainer::addModeConditions(const std::string& sender, const Arrival& arrival,
                                  std::vector<Condition>& chain) const {
  const std::int64_t mode = arrival.gate.mode;
  chain.push_back({"Let through", modeName(mode, directory_), settingSource(modeKey)});
  if (mode == -400 || mode == -300) {
    chain.push_back({mode == -400 ? "In the contacts" : "Among the favourites",
                     yesOrNo(arrival.presented),
                     arrival.presented ? nameOf(directory_.contactLike(sender)) : ""});
  }
  if (mode > 0) addGroupConditions(sender, arrival.gate, chain);
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
  chain.push_back({"Sender is", "a number", "there is no @ in it"});
  chain.push_back({"Tail compared", gate.tail.empty() ? "(empty)" : gate.tail,
                   fmt::format("{}; {}",
                               gate.tail == sender ? "the whole sender"
                                                   : fmt::format("last {}", *gate.digitsCompared),
                               settingSource(digitsKey))});
  chain.push_back({"A member's number", gate.matchedNumber.value_or("no"),
                   gate.matchedNumber
                       ? nameOf(directory_.memberWithDigits(gate.mode, *gate.matchedNumber))
                       : "none ends in the tail"});
}

std::string Explainer::settingSource(const std::string& key) const {
  id value = settings_ ? simulator::find(settings_.get(), key) : nullptr;
  return value == nullptr ? fmt::format("{} is not set", key)
                          : fmt::format("{} is {}", key, simulator::describe(value));
}

std::vector<Change> Explainer::candidates() const {
  std::vector<Change> all;
  for (const std::int64_t mode : {-100, -200, -300, -400}) {
    all.push_back({modeKey, mode, modeName(mode)});
  }
  for (const ListedGroup& group : listGroups(player_.library())) {
    all.push_back({modeKey, group.id, "group " + group.name});
  }
  for (std::int64_t digits = 1; digits <= mostDigitsTried; ++digits) {
    all.push_back({digitsKey, digits, digits == 1 ? "1 digit" : fmt::format("{} digits", digits)});
  }
  const auto suppressed = numbersIn(player_.library(), "daysForSuppressingScheduler");
  for (int weekday = 1; weekday <= 7; ++weekday) {
    const bool wasOff = std::count(suppressed.begin(), suppressed.end(), weekday) > 0;
    all.push_back(
        {weekdayKey(weekday), wasOff,
         fmt::format("{} on {}s", wasOff ? "schedule" : "no schedule", weekdayName(weekday))});
  }
  return all;
}

std::vector<Change> Explainer::changesFor(const std::string& sender) {
  const bool before = askAboutMessage(player_, sender).presented;
  std::vector<Change> changes = candidates();
  std::erase_if(changes, [&](const Change& change) {
    const Trial trial(player_, settings_.get(), change);
    return askAboutMessage(player_, sender).presented == before;
  });
  Trial::reload(player_);
  return changes;
}

// ---- Showing -----------------------------------------------------------------------------------

namespace {

const char* answerName(bool presented) { return presented ? "presented" : "held back"; }

nlohmann::ordered_json toJson(const simulator::PreferenceValue& value) {
  return std::visit([](const auto& held) { return nlohmann::ordered_json(held); }, value);
}

// "allowedMessageGroup -100", with all digit counts on one line.
struct ChangeLine {
  std::string key;
  std::string values;
  std::string meaning;
};

// "1 to 4, 9".
std::string ranges(const std::vector<std::int64_t>& ascending) {
  Lines parts;
  for (std::size_t first = 0; first < ascending.size();) {
    std::size_t last = first;
    while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1) ++last;
    parts.push_back(first == last ? std::to_string(ascending[first])
                                  : fmt::format("{} to {}", ascending[first], ascending[last]));
    first = last + 1;
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

std::vector<ChangeLine> linesOf(const std::vector<Change>& changes) {
  std::vector<ChangeLine> lines;
  std::vector<std::int64_t> digits;
  for (const Change& change : changes) {
    if (change.key != digitsKey) {
      lines.push_back({change.key, toJson(change.value).dump(), change.meaning});
      continue;
    }
    if (digits.empty()) lines.push_back({change.key, "", "digits"});
    digits.push_back(std::get<std::int64_t>(change.value));
  }
  for (ChangeLine& line : lines) {
    if (line.key == digitsKey) line.values = ranges(digits);
  }
  return lines;
}

void showCondition(const Condition& condition) {
  constexpr std::size_t sourceColumn = 38;
  std::string line = "  " + padded(condition.name, 21) + printable(condition.value);
  if (!condition.source.empty()) line = withColumn(line, sourceColumn, printable(condition.source));
  fmt::print("{}\n", line);
}

}  // namespace

void showExplanation(const Explanation& explanation, const std::vector<Change>& changes,
                     const simulator::Clock& clock) {
  fmt::print("A message from {} at {}:\n\n",
             explanation.sender.empty() ? "\"\"" : printable(explanation.sender),
             formatMoment(clock.local(clock.now())));
  for (const Condition& condition : explanation.chain) showCondition(condition);
  fmt::print("\n  {}\n\n", toned(answerName(explanation.presented),
                                 explanation.presented ? Tone::good : Tone::bad));
  if (changes.empty()) {
    fmt::print("No single setting would change that.\n");
    return;
  }
  fmt::print("It would be {} with any one of:\n", answerName(!explanation.presented));
  for (const ChangeLine& line : linesOf(changes)) {
    fmt::print("  {}{}{}\n", padded(line.key, 25), padded(line.values, 12),
               printable(line.meaning));
  }
}

void showExplanationAsJson(const Explanation& explanation, const std::vector<Change>& changes,
                           const simulator::Clock& clock) {
  nlohmann::ordered_json object;
  object["sender"] = explanation.sender;
  object["at"] = formatLocalTime(clock.local(clock.now()));
  object["timeZone"] = clock.timeZone();
  object["answer"] = answerName(explanation.presented);
  object["chain"] = nlohmann::ordered_json::array();
  for (const Condition& condition : explanation.chain) {
    object["chain"].push_back(
        {{"condition", condition.name}, {"value", condition.value}, {"source", condition.source}});
  }
  object["changes"] = nlohmann::ordered_json::array();
  for (const Change& change : changes) {
    object["changes"].push_back(
        {{"key", change.key}, {"value", toJson(change.value)}, {"meaning", change.meaning}});
  }
  fmt::print("{}\n", object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace home_screen
