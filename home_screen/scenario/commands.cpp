#include "home_screen/scenario/commands.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <type_traits>

#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/message.hpp"
#include "home_screen/session/interruption.hpp"
#include "home_screen/session/nearest.hpp"
#include "simulator/device.hpp"

namespace home_screen {

// The words behind a command, as many as its usage allows.
class Arguments {
 public:
  Arguments(const Command& command, const Words& words, People& known)
      : people(known), command_(command), words_(words) {}

  bool atEnd() const { return next_ == words_.size(); }
  const Word& next() { return words_[next_++]; }

  // The index of the next word among the choices that the usage names.
  std::size_t choice() {
    const Lines choices = possibleArguments(command_);
    const std::string& text = next().text;
    const auto found = std::find(choices.begin(), choices.end(), text);
    if (found == choices.end()) refuseChoice(text, choices);
    return static_cast<std::size_t>(found - choices.begin());
  }

  [[noreturn]] static void refuseChoice(const std::string& text, const Lines& choices) {
    refuse(text, ("is not one of the choices" + didYouMean(text, choices)).c_str());
  }

  [[noreturn]] static void refuse(const std::string& text, const char* why) {
    throw BadWords(fmt::format("\"{}\" {}", text, why));
  }

  People& people;

 private:
  const Command& command_;
  const Words& words_;
  std::size_t next_ = 0;
};

namespace {

using simulator::settingsDomain;

constexpr const char* localTimeWords = "YYYY-MM-DD HH:MM";  // one word in quotes, or two

// ---- Reading an argument, by its type ----------------------------------------------------------

template <class T>
void parse(const std::string& text, std::optional<T> (*parser)(std::string_view), T& value,
           const char* kind) {
  const std::optional<T> parsed = parser(text);
  if (!parsed) Arguments::refuse(text, kind);
  value = *parsed;
}

void take(Arguments& words, std::string& text) { text = words.next().text; }

void take(Arguments& words, double& number) {
  parse(words.next().text, &parseReal, number, "is not a number");
}

void take(Arguments& words, std::int64_t& number) {
  parse(words.next().text, &parseInteger, number, "is not an integer");
}

void take(Arguments& words, std::int32_t& number) {
  const std::string& text = words.next().text;
  number = static_cast<std::int32_t>(parseInteger(text).value_or(0));
  if (parseInteger(text) != number) Arguments::refuse(text, "is not a 32-bit integer");
}

void take(Arguments& words, std::uint64_t& bits) {
  parse(words.next().text, &parseBits, bits, "is not an unsigned integer");
}

void take(Arguments& words, bool& first) { first = words.choice() == 0; }

void take(Arguments& words, simulator::PlatformAnswer& answer) {
  using enum simulator::PlatformAnswer;
  answer = std::array{automatic, yes, no}[words.choice()];
}

void take(Arguments& words, std::chrono::seconds& duration) {
  parse(words.next().text, &parseDuration, duration, "is not a duration such as 2h30m");
}

void take(Arguments& words, LocalTime& time) {
  std::string text = words.next().text;
  if (!words.atEnd()) text += " " + words.next().text;
  parse(text, &parseLocalTime, time, "is not a local time");
}

struct TimeZone {
  std::string name;
};
void take(Arguments& words, TimeZone& zone) {
  zone.name = words.next().text;
  if (!isTimeZone(zone.name)) Arguments::refuse(zone.name, "is no time zone");
}

using Schedule = std::optional<simulator::DailyPeriod>;
void take(Arguments& words, Schedule& schedule) {
  const std::string& text = words.next().text;
  if (text != "off")
    parse(text, &parseDailyPeriod, schedule.emplace(), "is not a period of the day");
}

void take(Arguments& words, simulator::PreferenceValue& value) {
  const auto& [text, quoted] = words.next();
  if (quoted) {
    value = text;
  } else if (text == "true" || text == "false") {
    value = text == "true";
  } else if (const auto integer = parseInteger(text)) {
    value = *integer;
  } else {
    parse(text, &parseReal, value.emplace<double>(),
          "is no integer, real, true or false, and has no quotes");
  }
}

struct Contact {
  std::string name;
  Lines phones;
  Lines emails;
};
void take(Arguments& words, Contact& contact) {
  contact.name = words.next().text;
  while (!words.atEnd()) {
    const std::string& kind = words.next().text;
    if (kind != "phone" && kind != "email") Arguments::refuseChoice(kind, {"phone", "email"});
    if (words.atEnd()) throw BadWords("no " + kind + " behind it");
    (kind == "phone" ? contact.phones : contact.emails).push_back(words.next().text);
  }
  words.people.emplace(contact.name, 0);
}

struct Members {
  Lines names;
};
void take(Arguments& words, Members& members) {
  while (!words.atEnd()) {
    const std::string& name = members.names.emplace_back(words.next().text);
    const auto known = words.people.count(name);
    if (known == 0) throw BadWords(fmt::format("no person is called \"{}\"", name));
    if (known > 1) throw BadWords(fmt::format("{} people are called \"{}\"", known, name));
  }
}

template <class T>
void take(Arguments& words, std::optional<T>& value) {
  if (!words.atEnd()) take(words, value.emplace());
}

// ---- What takes more than a line ---------------------------------------------------------------

std::string addPerson(Stage& on, const Contact& contact) {
  const auto [name, phones, emails] = contact;
  const std::int64_t recordId = on.phone().addressBook.addPerson(name, phones, emails);
  on.people.emplace(name, recordId);
  return std::to_string(recordId);
}

std::string addGroup(Stage& on, const std::string& name, const Members& members) {
  std::vector<std::int64_t> recordIds;
  for (const std::string& each : members.names) recordIds.push_back(on.people.find(each)->second);
  return std::to_string(on.phone().addressBook.addGroup(name, recordIds));
}

Lines groups(Stage& on) {
  Lines lines;
  for (const auto& [id, name] : listGroups(on.session))
    lines.push_back(fmt::format("{} {}", id, name));
  return lines;
}

Lines expectOutput(const Outcome& judged, const std::string& text) {
  if (!judged.output.empty() && judged.output.back() == text) return {};
  return {fmt::format("expected \"{}\", but \"{}\" (line {}) gave {}", text, judged.command,
                      judged.line,
                      judged.output.empty() ? "no output" : "\"" + judged.output.back() + "\"")};
}

Lines expectLog(const Outcome& judged, const std::string& text) {
  if (std::ranges::count(judged.log, text) > 0) return {};
  return {fmt::format(
      "expected \"{}\" in the log, but \"{}\" (line {}) logged {}", text, judged.command,
      judged.line,
      judged.log.empty() ? "nothing" : fmt::format("\"{}\"", fmt::join(judged.log, "\", \"")))};
}

const char* trueOrFalse(bool value) { return value ? "true" : "false"; }

// ---- The table ---------------------------------------------------------------------------------

template <class Result, class... Values>
Action readArguments(Arguments& words, Result (*run)(Stage&, Values...)) {
  std::tuple<std::decay_t<Values>...> values;
  std::apply([&words](auto&... each) { (take(words, each), ...); }, values);
  return [run, values](Stage& stage) -> Lines {
    const auto call = [&](const auto&... each) { return run(stage, each...); };
    if constexpr (std::is_void_v<Result>) {
      std::apply(call, values);
      return {};
    } else if constexpr (std::is_same_v<Result, Lines>) {
      return std::apply(call, values);
    } else {
      return {std::apply(call, values)};
    }
  };
}

// Of a function without state: the parameters behind the stage are the arguments of the command,
// and the result is its output.
template <class Run>
constexpr auto does(Run) {
  return +[](Arguments& words) { return readArguments(words, +Run()); };
}

constexpr auto ordinary = Command::Kind::ordinary;
constexpr auto beforeStart = Command::Kind::beforeStart;
constexpr auto expectation = Command::Kind::expectation;

constexpr Command commands[] = {
    {"foundation-version", "V", "the host's version; before all others",
     does([](Stage& on, double version) { on.phone().setFoundationVersion(version); }),
     beforeStart},
    {"time-zone", "NAME", "like Europe/Berlin; before all others",
     does([](Stage& on, const TimeZone& zone) { on.phone().clock.setTimeZone(zone.name); }),
     beforeStart},
    {"clock", localTimeWords, "sets the phone's local time",
     does([](Stage& on, LocalTime time) { on.phone().setLocalTime(time); })},
    {"advance", "DURATION", "moves the time on, such as by 2h30m",
     does(
         [](Stage& on, std::chrono::seconds by) { on.phone().advance(by, &giveUpIfInterrupted); })},
    {"set", "KEY VALUE", "writes a preference; strings in quotes",
     does([](Stage& on, const std::string& key, const simulator::PreferenceValue& value) {
       on.phone().preferences.set(settingsDomain, key, value);
     }),
     ordinary, settingsKeys},
    {"unset", "KEY", "removes a preference", does([](Stage& on, const std::string& key) {
       on.phone().preferences.unset(settingsDomain, key);
     }),
     ordinary, settingsKeys},
    {"clear", "", "removes all preferences",
     does([](Stage& on) { on.phone().preferences.clear(settingsDomain); })},
    {"post", "NAME", "posts a Darwin notification",
     does([](Stage& on, const std::string& name) { on.session.post(name); }), ordinary,
     ownNotifications},
    {"contact", "NAME [phone P]... [email E]...", "adds a person; gives the record ID",
     does([](Stage& on, const Contact& contact) { return addPerson(on, contact); })},
    {"group", "NAME [MEMBER]...", "adds a group; gives the record ID",
     does([](Stage& on, const std::string& name, const Members& members) {
       return addGroup(on, name, members);
     })},
    {"favourite", "ID", "puts an ID on the favourites list",
     does([](Stage& on, const std::string& id) { on.phone().addressBook.addFavourite(id); })},
    {"access", "granted|denied", "may the address book be read?",
     does([](Stage& on, bool granted) { on.phone().addressBook.accessGranted = granted; })},
    {"address-book", "present|missing", "can the address book be opened?",
     does([](Stage& on, bool present) { on.phone().addressBook.present = present; })},
    {"dnd", "on|off", "Do Not Disturb by hand",
     does([](Stage& on, bool dnd) { on.phone().bulletinBoard.setManualDoNotDisturb(dnd); })},
    {"schedule", "HH:MM-HH:MM|off", "Do Not Disturb daily from then to then",
     does([](Stage& on, Schedule schedule) { on.phone().bulletinBoard.setSchedule(schedule); })},
    {"gateway", "TYPES [SOURCE]", "reports override types to the gateway",
     does([](Stage& on, std::uint64_t types, std::optional<std::uint64_t> source) {
       on.phone().bulletinBoard.reportOverrideTypes(types, source);
     })},
    {"platform-answer", "auto|yes|no", "what the server itself decides",
     does([](Stage& on, simulator::PlatformAnswer answer) {
       on.phone().bulletinBoard.platformAnswer = answer;
     })},
    {"message", "[SENDER]", "arrives: presented or held back",
     does([](Stage& on, const std::optional<std::string>& sender) {
       return answerName(on.phone().bulletinBoard.arrives(1, sender));
     })},
    {"notification", "TYPE [SENDER]", "the same for any type",
     does([](Stage& on, std::int32_t type, const std::optional<std::string>& sender) {
       return answerName(on.phone().bulletinBoard.arrives(type, sender));
     })},
    {"active", localTimeWords, "is the schedule in force at that time?",
     does([](Stage& on, LocalTime time) {
       const auto moment = on.phone().clock.instant(time);
       return on.phone().bulletinBoard.scheduleActiveAt(moment) ? "active" : "not active";
     })},
    {"suppressed", "DAYS", "is a day, counted from today, left out?",
     does([](Stage& on, std::int64_t days) {
       return trueOrFalse(on.session.library().shouldSchedulerBeSuppressed(days));
     })},
    {"interval", "", "the schedule that the library reads",
     does([](Stage& on) { return askForInterval(on.session); })},
    {"matcher", "[ID]", "asks the library's number matcher",
     does([](Stage& on, const std::optional<std::string>& id) {
       return trueOrFalse(askMatcher(on.session, id));
     })},
    {"groups", "", "the library's list of groups", does([](Stage& on) { return groups(on); })},
    {"debug", "on|off", "sets enableDebugLogging",
     does([](Stage& on, bool debug) { on.session.library().enableDebugLogging = debug; })},
    {"state", "", "the library's exported values",
     does([](Stage& on) { return describeValues(on.session); })},
    {"expect", "TEXT", "last output line of the command before",
     does([](Stage& on, const std::string& text) { return expectOutput(on.previous, text); }),
     expectation},
    {"expect-log", "TEXT", "a log text of the command before",
     does([](Stage& on, const std::string& text) { return expectLog(on.previous, text); }),
     expectation},
};

// What the commands of the table are about, from the named one on.
constexpr std::pair<std::string_view, const char*> headings[] = {
    {"foundation-version", "The phone and its clock"},
    {"set", "Settings"},
    {"contact", "People"},
    {"dnd", "Do Not Disturb"},
    {"message", "What arrives"},
    {"active", "What the library answers by itself"},
    {"expect", "What the command before should have done"}};

// How few and how many words the usage allows.
std::pair<std::ptrdiff_t, std::ptrdiff_t> wordsIn(std::string_view arguments) {
  if (arguments == localTimeWords) return {1, 2};
  const auto wordsBefore = [&](std::size_t end) {
    return std::count(arguments.begin(), arguments.begin() + static_cast<std::ptrdiff_t>(end), ' ');
  };
  const std::ptrdiff_t all = arguments.empty() ? 0 : 1 + wordsBefore(arguments.size());
  const std::size_t optional = arguments.find('[');
  return {optional == std::string_view::npos ? all : wordsBefore(optional),
          arguments.ends_with("...") ? PTRDIFF_MAX : all};
}

}  // namespace

std::string Command::usage() const {
  return std::string(name).append(arguments.empty() ? "" : " ").append(arguments);
}

std::span<const Command> commandTable() { return commands; }

const Command* findCommand(std::string_view name) {
  const auto* found = std::find_if(std::begin(commands), std::end(commands),
                                   [name](const Command& command) { return command.name == name; });
  return found == std::end(commands) ? nullptr : found;
}

Action readCommand(const Command& command, const Words& arguments, People& people) try {
  const auto [fewest, most] = wordsIn(command.arguments);
  if (std::ssize(arguments) < fewest) throw BadWords("too few words");
  if (std::ssize(arguments) > most) {
    throw BadWords("too many words (a text with spaces needs double quotes)");
  }
  Arguments words(command, arguments, people);
  return command.read(words);
} catch (const BadWords& error) {
  if (std::string_view(error.what()).ends_with('?')) throw;  // it has a better idea
  throw BadWords(fmt::format("{}; expected {}", error.what(), command.usage()));
}

Lines possibleArguments(const Command& command) {
  if (!command.known.empty()) return {command.known.begin(), command.known.end()};
  Lines words = {""};  // in small letters
  for (const char letter : command.arguments) {
    if (letter >= 'a' && letter <= 'z') {
      words.back() += letter;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::string describeCommand(const Command& command) {
  return fmt::format("{:<39}{}", command.usage(), command.help);
}

std::string describeCommands() {
  std::string text = "The scenario language, one command a line, # starts a comment.\n";
  for (const Command& command : commandTable()) {
    for (const auto& [first, heading] : headings) {
      if (first == command.name) text += fmt::format("\n{}:\n", heading);
    }
    text += "  " + describeCommand(command) + "\n";
  }
  return text;
}

}  // namespace home_screen
