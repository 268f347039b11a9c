#include "home_screen/show/text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "home_screen/show/terminal.hpp"

namespace home_screen {
namespace {

std::string moment(LocalTime time) { return formatTime("%a %F %R", time); }

bool holds(const std::vector<PhonePart>& parts, PhonePart part) {
  return std::ranges::count(parts, part) > 0;
}

// Below the heading of an answer.
void showUnknown(const std::vector<PhonePart>& parts) {
  for (const PhonePart part : parts) fmt::print("Not in this backup: {}\n", describe(part));
}

// The first line of an answer says which moment and zone were taken.
std::string momentAndZone(LocalTime time, const std::string& zone) {
  return moment(time) + ", " + zone;
}

// ---- A message explained -----------------------------------------------------------------------

void showCondition(const Condition& condition) {
  constexpr std::size_t sourceColumn = 38;
  std::string line = "  " + padded(condition.name, 21) + printable(condition.value);
  if (!condition.source.empty()) line = withColumn(line, sourceColumn, printable(condition.source));
  fmt::print("{}\n", line);
}

void showChange(const std::string& key, const std::string& values, const std::string& meaning) {
  fmt::print("  {}{}{}\n", padded(key, 25), padded(values, 12), printable(meaning));
}

// "1 to 4, 9".
std::string ranges(const std::vector<std::int64_t>& ascending) {
  std::string text;
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    const std::size_t first = i;
    while (i + 1 < ascending.size() && ascending[i + 1] == ascending[i] + 1) ++i;
    text += (first == 0 ? "" : ", ") + std::to_string(ascending[first]);
    if (i > first) text += " to " + std::to_string(ascending[i]);
  }
  return text;
}

// All numbers of digits stand on one line.
void showChanges(const std::vector<Change>& changes) {
  std::vector<std::int64_t> digits;
  for (const Change& change : changes) {
    if (change.key == digitsKey) digits.push_back(std::get<std::int64_t>(change.value));
  }
  for (const Change& change : changes) {
    const auto text = [](const auto& value) { return fmt::format("{}", value); };
    if (change.key != digitsKey) {
      showChange(change.key, std::visit(text, change.value), change.meaning);
    } else if (std::get<std::int64_t>(change.value) == digits.front()) {
      showChange(change.key, ranges(digits), "digits");
    }
  }
}

// ---- Who gets through --------------------------------------------------------------------------

std::string nameAndValue(const std::string& name, const std::string& value) {
  constexpr std::size_t valueColumn = 17;
  return withColumn("  " + printable(name), valueColumn, printable(value));
}

void showPerson(const Who::Person& person) {
  constexpr std::size_t resultColumn = 41;
  constexpr std::size_t resultWidth = 11;
  std::string name = person.name.empty() ? "(no name)" : person.name;
  if (person.entries.empty()) {
    fmt::print("{}\n", nameAndValue(name, "(neither number nor address)"));
  }
  for (const Who::Entry& entry : person.entries) {
    const std::string result =
        padded(entry.presented ? "through" : "held back", entry.why.empty() ? 0 : resultWidth);
    fmt::print("{}{}\n",
               withColumn(nameAndValue(std::exchange(name, ""), entry.value), resultColumn,
                          toned(result, entry.presented ? Tone::good : Tone::bad)),
               printable(entry.why));
  }
}

// Do Not Disturb is off, which answers for everybody.
void showHowToAskAboutTheNight(const Who& who, bool atPrompt) {
  const std::string byHand = atPrompt ? "\"dnd on\"" : "--dnd";
  if (holds(who.unknown, PhonePart::schedule) && !who.night) {
    fmt::print("Ask with a schedule that stands in for it, --schedule 22:00-07:00, or with {}.\n",
               byHand);
    return;
  }
  if (!who.night) {
    fmt::print("No schedule switches it on within a week; {} does by hand.\n", byHand);
    return;
  }
  const std::string night = formatTime("%F %R", *who.night);
  fmt::print("Ask about the night with {}, or with {}.\n",
             atPrompt ? fmt::format("\"clock {}\"", night) : fmt::format("--at \"{}\"", night),
             byHand);
}

std::string nameOf(const std::string& name) { return name.empty() ? "(no name)" : name; }

std::string namesOf(const std::vector<Who::Named>& people) {
  Lines names;
  for (const Who::Named& person : people) names.push_back(nameOf(person.name));
  return fmt::format("{}", fmt::join(names, ", "));
}

void showSharedTails(const Who& who) {
  if (!who.isGroup) return;
  if (who.sharedTails.empty()) {
    fmt::print("\nNo two people share a tail (compared by {}).\n", who.digitsCompared);
    return;
  }
  fmt::print("\nOne tail, different people (compared by {}):\n", who.digitsCompared);
  for (const auto& [tail, people] : who.sharedTails) {
    fmt::print("{}\n", nameAndValue(tail, namesOf(people)));
  }
}

// ---- A calendar --------------------------------------------------------------------------------

char symbolOf(const Calendar::Tally& cell) {
  if (cell.all() == 0) return ' ';
  if (cell.on == cell.all()) return '#';
  if (cell.on > 0) return '+';
  return cell.suppressed > 0 ? '-' : '.';
}

std::string length(int minutes) { return fmt::format("{}h{:02}m", minutes / 60, minutes % 60); }

void showDay(const Calendar::Day& day) {
  constexpr int usualDay = 24 * 60;
  std::string bar;
  for (const Calendar::Tally& cell : day.halfHours) bar += symbolOf(cell);
  std::string note = day.whole.on == 0 ? "-" : length(day.whole.on);
  if (day.whole.all() != usualDay) note += " of " + length(day.whole.all());
  fmt::print("{} |{}| {}\n", formatTime("%a %d %b", day.date), toned(bar, Tone::strong), note);
}

void showEvent(LocalTime at, const std::string& what, const std::string& why) {
  fmt::print("{}  {:<8}{}\n", moment(at), what, why);
}

// ---- A command of a scenario -------------------------------------------------------------------

constexpr const char* indent = "      ";

Tone toneOf(const std::string& output) {
  return output == answerName(true)    ? Tone::good
         : output == answerName(false) ? Tone::bad
                                       : Tone::strong;
}

Lines resultOf(const Outcome& outcome) {
  if (outcome.failure) return {toned("not as expected", Tone::bad)};
  if (outcome.expectation) return {toned("as expected", Tone::faint)};
  Lines result;
  for (const std::string& line : outcome.output) {
    result.push_back(toned(printable(line), toneOf(line)));
  }
  return result;
}

void showLines(const Lines& lines) {
  for (const std::string& line : lines) fmt::print("{}{}\n", indent, line);
}

void showLogOf(const Outcome& outcome) {
  for (const std::string& text : outcome.log) {
    fmt::print("{}{}\n", indent, toned("| " + printable(text), Tone::faint));
  }
}

}  // namespace

void showText(const Explanation& explanation) {
  fmt::print("A message from {} at {}:\n",
             explanation.sender.empty() ? "\"\"" : printable(explanation.sender),
             momentAndZone(explanation.at, explanation.timeZone));
  showUnknown(explanation.unknown);
  fmt::print("\n");
  for (const Condition& condition : explanation.chain) showCondition(condition);
  fmt::print("\n  {}\n\n", toned(answerName(explanation.presented),
                                 explanation.presented ? Tone::good : Tone::bad));
  if (explanation.changes.empty()) {
    fmt::print("No single setting would change that.\n");
    return;
  }
  fmt::print("It would be {} with any one of:\n", answerName(!explanation.presented));
  showChanges(explanation.changes);
}

void showText(const Who& who, bool atPrompt) {
  const bool unsure = !who.doNotDisturb && holds(who.unknown, PhonePart::schedule);
  fmt::print("{}: Do Not Disturb {}{}\n", momentAndZone(who.at, who.timeZone),
             who.doNotDisturb ? "on, let through: " + printable(who.letThrough) : "off",
             unsure ? " as far as is known" : "");
  showUnknown(who.unknown);
  if (!who.doNotDisturb) showHowToAskAboutTheNight(who, atPrompt);
  fmt::print("\n");
  if (holds(who.unknown, PhonePart::addressBook)) return;
  if (who.people.empty()) {
    fmt::print("The address book is empty.\n");
    return;
  }
  for (const Who::Person& person : who.people) showPerson(person);
  showSharedTails(who);
  fmt::print("\nA number is asked about as a message bears it: digits behind a leading +.\n");
}

void showText(const Calendar& calendar) {
  fmt::print("{}\n\nSchedule   {}\nSuppressed {}\n", momentAndZone(calendar.now, calendar.timeZone),
             calendar.schedule.empty() ? "none stored" : calendar.schedule,
             calendar.suppressedDays.empty()
                 ? "no day"
                 : fmt::format("{}", fmt::join(calendar.suppressedDays, ", ")));
  showUnknown(calendar.unknown);
  if (holds(calendar.unknown, PhonePart::schedule)) {
    fmt::print("\nAsk with a schedule that stands in for it: --schedule 22:00-07:00\n");
    return;
  }
  fmt::print("\n{:10} ", "");
  for (int hour = 0; hour < 24; hour += 3) fmt::print(" {:02}   ", hour);
  fmt::print(" 24\n");
  for (const Calendar::Day& day : calendar.days) showDay(day);
  fmt::print(
      "\n# on   + on for a part   . off   - off, as the weekday is suppressed\n"
      "Each half hour belongs to the weekday of its own date, also past midnight.\n\n");

  showEvent(calendar.now, calendar.activeNow ? "on" : "off", "now");
  for (const auto& [at, what, why] : calendar.events) showEvent(at, what, why);
  if (calendar.events.empty()) fmt::print("Nothing changes in these days.\n");
}

void showText(const std::vector<GroupSize>& groups) {
  if (groups.empty()) {
    fmt::print("The library lists no group.\n");
    return;
  }
  fmt::print("{:>6}  {:24}{:>9}{:>9}{:>11}\n", "ID", "Group", "Members", "Numbers", "Addresses");
  for (const GroupSize& group : groups) {
    fmt::print("{:>6}  {}{:>9}{:>9}{:>11}\n", group.id, padded(printable(nameOf(group.name)), 24),
               group.members, group.numbers, group.addresses);
  }
}

void showText(const Digits& digits) {
  if (!digits.isGroup) {
    fmt::print("Let through: {}. Digits are compared only where that is a group.\n",
               printable(digits.letThrough));
    return;
  }
  fmt::print("Let through: {}\n\n", printable(digits.letThrough));
  fmt::print("Digits  Through  {:24}{:24}One tail, different people\n", "More than now",
             "Fewer than now");
  const auto orNone = [](const std::string& text) { return text.empty() ? "-" : text; };
  for (const Digits::Row& row : digits.rows) {
    Lines tails;
    for (const auto& [tail, people] : row.shared) tails.push_back(tail + ": " + namesOf(people));
    const bool isNow = row.digits == digits.inForce;
    fmt::print("{:>6}{} {:>7}  {}{}{}\n", row.digits, isNow ? "*" : " ", row.through,
               padded(printable(orNone(namesOf(row.gained))), 24),
               padded(printable(orNone(namesOf(row.lost))), 24),
               printable(orNone(fmt::format("{}", fmt::join(tails, "; ")))));
  }
  fmt::print("\n* in force: {}\n", digits.inForce);
}

void showText(const Outcome& outcome, bool showLog) {
  constexpr std::size_t commandWidth = 46;
  if (outcome.line == 0 && !showLog) return;
  const std::string command = printable(outcome.command);
  const Lines result = resultOf(outcome);
  const bool besideCommand = result.size() == 1 && columns(command) < commandWidth;

  fmt::print("{}  {}\n", toned(fmt::format("{:4}", outcome.line), Tone::faint),
             besideCommand ? padded(command, commandWidth) + result.front() : command);
  if (!besideCommand) showLines(result);
  if (showLog) showLogOf(outcome);
}

void showResult(const Outcome& outcome, bool showLog) {
  showLines(resultOf(outcome));
  if (showLog) showLogOf(outcome);
}

void showSaved(const SavedPhone& saved) {
  const std::string folder = printable(saved.folder.string());
  const std::string word = folder.find(' ') == std::string::npos ? folder : "'" + folder + "'";
  for (const PhonePart part : saved.leftOut) {
    fmt::print("Not in the backup, and so left out: {}\n", describe(part));
  }
  fmt::print("{} holds a phone now. Ask it:\n  hushlane-sim who --device {} --dnd\n", folder, word);
}

void complainAboutFailure(const Outcome& outcome, const std::string& file) {
  if (outcome.failure) complain(fmt::format("{}:{}: {}", file, outcome.line, *outcome.failure));
}

}  // namespace home_screen
