#include "home_screen/commands.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <initializer_list>
#include <optional>

#include "home_screen/exported_state.hpp"
#include "home_screen/inquiry.hpp"
#include "home_screen/player.hpp"
#include "simulator/foundation/objects.hpp"

namespace home_screen {
namespace {

// ---- Reading arguments -------------------------------------------------------------------------

std::string quote(const std::string& text) { return "\"" + printable(text) + "\""; }

template <class T>
T orRefuse(std::optional<T> value, const std::string& text, const char* kind) {
  if (!value) throw BadArgument(fmt::format("{} is not {}", quote(text), kind));
  return *value;
}

template <class T>
T oneOf(const Word& word, std::initializer_list<std::pair<std::string_view, T>> choices) {
  for (const auto& [name, value] : choices) {
    if (word.text == name) return value;
  }
  throw BadArgument(fmt::format("{} is not one of the choices", quote(word.text)));
}

bool onOrOff(const Word& word) { return oneOf<bool>(word, {{"on", true}, {"off", false}}); }

std::optional<std::string> optionalText(const Words& words, std::size_t index) {
  if (index >= words.size()) return std::nullopt;
  return words[index].text;
}

simulator::PreferenceValue preferenceValue(const Word& word) {
  if (word.quoted) return word.text;
  if (word.text == "true") return true;
  if (word.text == "false") return false;
  if (const auto integer = parseInteger(word.text)) return *integer;
  if (const auto real = parseReal(word.text)) return *real;
  throw BadArgument(
      fmt::format("{} is no integer, real, true or false, and has no quotes", quote(word.text)));
}

date::local_seconds localTime(const Words& words) {
  const std::string text = words.size() == 1 ? words[0].text : words[0].text + " " + words[1].text;
  return orRefuse(parseLocalTime(text), text, "a local time");
}

// Turns a knob of the phone, without any output.
template <class Turn>
Action turning(Turn turn) {
  return [turn](Player& player) {
    turn(player.device());
    return Lines();
  };
}

// ---- Time and host -----------------------------------------------------------------------------

Action prepareClock(const Words& words, KnownPeople&) {
  return turning([time = localTime(words)](auto& device) { device.setLocalTime(time); });
}

Action prepareAdvance(const Words& words, KnownPeople&) {
  const auto by = orRefuse(parseDuration(words[0].text), words[0].text, "a duration such as 2h30m");
  return turning([by](auto& device) { device.advance(by); });
}

Action prepareTimeZone(const Words& words, KnownPeople&) {
  if (!isTimeZone(words[0].text)) {
    throw BadArgument(fmt::format("{} is no time zone", quote(words[0].text)));
  }
  return turning([name = words[0].text](auto& device) { device.clock.setTimeZone(name); });
}

Action prepareFoundationVersion(const Words& words, KnownPeople&) {
  const double version = orRefuse(parseReal(words[0].text), words[0].text, "a number");
  return turning([version](auto& device) { device.setFoundationVersion(version); });
}

Action preparePost(const Words& words, KnownPeople&) {
  std::string name = words[0].text;
  if (name.find('.') == std::string::npos)
    name = std::string(simulator::settingsDomain) + "." + name;
  return [name](Player& player) {
    player.post(name);
    return Lines();
  };
}

// ---- Preferences -------------------------------------------------------------------------------

Action prepareSet(const Words& words, KnownPeople&) {
  return turning([key = words[0].text, value = preferenceValue(words[1])](auto& device) {
    device.preferences.set(simulator::settingsDomain, key, value);
  });
}

Action prepareUnset(const Words& words, KnownPeople&) {
  return turning([key = words[0].text](auto& device) {
    device.preferences.unset(simulator::settingsDomain, key);
  });
}

Action prepareClear(const Words&, KnownPeople&) {
  return turning([](auto& device) { device.preferences.clear(simulator::settingsDomain); });
}

// ---- Address book ------------------------------------------------------------------------------

Action prepareContact(const Words& words, KnownPeople& people) {
  std::vector<std::string> phones;
  std::vector<std::string> emails;
  for (std::size_t i = 1; i < words.size(); i += 2) {
    auto* values =
        oneOf<std::vector<std::string>*>(words[i], {{"phone", &phones}, {"email", &emails}});
    if (i + 1 == words.size()) throw BadArgument(fmt::format("no {} behind it", words[i].text));
    values->push_back(words[i + 1].text);
  }
  ++people[words[0].text];
  return [name = words[0].text, phones, emails](Player& player) {
    return Lines{std::to_string(player.addPerson(name, phones, emails))};
  };
}

Action prepareGroup(const Words& words, KnownPeople& people) {
  std::vector<std::string> members;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string& name = words[i].text;
    const auto known = people.find(name);
    if (known == people.end()) {
      throw BadArgument(fmt::format("no person is called {}", quote(name)));
    }
    if (known->second > 1) {
      throw BadArgument(fmt::format("{} people are called {}", known->second, quote(name)));
    }
    members.push_back(name);
  }
  return [name = words[0].text, members](Player& player) {
    return Lines{std::to_string(player.addGroup(name, members))};
  };
}

Action prepareFavourite(const Words& words, KnownPeople&) {
  return turning([value = words[0].text](auto& device) { device.addressBook.addFavourite(value); });
}

Action prepareAccess(const Words& words, KnownPeople&) {
  const bool granted = oneOf<bool>(words[0], {{"granted", true}, {"denied", false}});
  return turning([granted](auto& device) { device.addressBook.accessGranted = granted; });
}

Action prepareAddressBook(const Words& words, KnownPeople&) {
  const bool present = oneOf<bool>(words[0], {{"present", true}, {"missing", false}});
  return turning([present](auto& device) { device.addressBook.present = present; });
}

// ---- Bulletin server ---------------------------------------------------------------------------

Action prepareDnd(const Words& words, KnownPeople&) {
  return turning(
      [on = onOrOff(words[0])](auto& device) { device.bulletinBoard.setManualDoNotDisturb(on); });
}

Action prepareGateway(const Words& words, KnownPeople&) {
  const auto types = orRefuse(parseBits(words[0].text), words[0].text, "an unsigned integer");
  std::optional<std::uint64_t> source;
  if (words.size() > 1) {
    source = orRefuse(parseBits(words[1].text), words[1].text, "an unsigned integer");
  }
  return turning(
      [types, source](auto& device) { device.bulletinBoard.reportOverrideTypes(types, source); });
}

Action preparePlatformAnswer(const Words& words, KnownPeople&) {
  using simulator::PlatformAnswer;
  const auto answer = oneOf<PlatformAnswer>(words[0], {{"auto", PlatformAnswer::automatic},
                                                       {"yes", PlatformAnswer::yes},
                                                       {"no", PlatformAnswer::no}});
  return turning([answer](auto& device) { device.bulletinBoard.platformAnswer = answer; });
}

Action arrival(int type, const std::optional<std::string>& sender) {
  return [type, sender](Player& player) {
    const bool presented = player.device().bulletinBoard.arrives(type, sender);
    return Lines{presented ? "presented" : "held back"};
  };
}

Action prepareMessage(const Words& words, KnownPeople&) {
  return arrival(1, optionalText(words, 0));
}

Action prepareNotification(const Words& words, KnownPeople&) {
  const auto type = parseInteger(words[0].text);
  if (!type || *type < INT32_MIN || *type > INT32_MAX) {
    throw BadArgument(fmt::format("{} is not a 32-bit integer", quote(words[0].text)));
  }
  return arrival(static_cast<int>(*type), optionalText(words, 1));
}

// ---- Schedule ----------------------------------------------------------------------------------

Action prepareSchedule(const Words& words, KnownPeople&) {
  std::optional<simulator::DailyPeriod> period;
  if (words[0].text != "off") {
    period = orRefuse(parseDailyPeriod(words[0].text), words[0].text, "a period of the day");
  }
  return turning([period](auto& device) { device.bulletinBoard.setSchedule(period); });
}

Action prepareActive(const Words& words, KnownPeople&) {
  return [time = localTime(words)](Player& player) {
    simulator::Device& device = player.device();
    const bool active = device.bulletinBoard.scheduleActiveAt(device.clock.instant(time));
    return Lines{active ? "active" : "not active"};
  };
}

Action prepareSuppressed(const Words& words, KnownPeople&) {
  const auto days = orRefuse(parseInteger(words[0].text), words[0].text, "an integer");
  return [days](Player& player) {
    const auto suppressed = player.library().function<bool(long)>("shouldSchedulerBeSuppressed");
    return Lines{suppressed(days) ? "true" : "false"};
  };
}

Action prepareInterval(const Words&, KnownPeople&) {
  return [](Player& player) {
    id interval = player.library().function<id()>("getBBBehaviorOverrideEffectiveInterval")();
    if (interval == nullptr) return Lines{"nothing"};
    const std::string text = simulator::intervalText(interval);
    return Lines{text.empty() ? simulator::describe(interval) : text};
  };
}

// ---- The library's exported names --------------------------------------------------------------

Action prepareMatcher(const Words& words, KnownPeople&) {
  return [text = optionalText(words, 0)](Player& player) {
    const auto matches =
        player.library().function<bool(id)>("phoneNumberBelongsToPrivilegedPerson");
    const auto sender = simulator::own(text ? simulator::makeString(*text) : nullptr);
    return Lines{matches(sender.get()) ? "true" : "false"};
  };
}

Action prepareGroups(const Words&, KnownPeople&) {
  return [](Player& player) {
    Lines lines;
    for (const ListedGroup& group : listGroups(player.library())) {
      lines.push_back(fmt::format("{} {}", group.id, group.name));
    }
    return lines;
  };
}

Action prepareDebug(const Words& words, KnownPeople&) {
  return [on = onOrOff(words[0])](Player& player) {
    player.setDebugLogging(on);
    return Lines();
  };
}

Action prepareState(const Words&, KnownPeople&) {
  return [](Player& player) { return describeState(player.library(), player.device().clock); };
}

// ---- Expectations ------------------------------------------------------------------------------

std::string nameOf(const Outcome& outcome) {
  return fmt::format("\"{}\" (line {})", printable(outcome.command), outcome.line);
}

Action prepareExpect(const Words& words, KnownPeople&) {
  return [text = words[0].text](Player& player) {
    const Outcome& judged = player.previous();
    if (judged.output.empty()) {
      throw Unexpected(
          fmt::format("expected {}, but {} gave no output", quote(text), nameOf(judged)));
    }
    if (judged.output.back() != text) {
      throw Unexpected(fmt::format("expected {}, but {} gave {}", quote(text), nameOf(judged),
                                   quote(judged.output.back())));
    }
    return Lines();
  };
}

Action prepareExpectLog(const Words& words, KnownPeople&) {
  return [text = words[0].text](Player& player) {
    const Outcome& judged = player.previous();
    if (std::find(judged.log.begin(), judged.log.end(), text) == judged.log.end()) {
      Lines written;
      for (const std::string& line : judged.log) written.push_back(quote(line));
      throw Unexpected(
          fmt::format("expected {} in the log, but {} logged {}", quote(text), nameOf(judged),
                      written.empty() ? "nothing" : fmt::format("{}", fmt::join(written, ", "))));
    }
    return Lines();
  };
}

// ---- The table ---------------------------------------------------------------------------------

constexpr auto beforeStart = Command::Kind::beforeStart;
constexpr auto ordinary = Command::Kind::ordinary;
constexpr auto expectation = Command::Kind::expectation;
constexpr auto unlimited = Command::unlimited;

constexpr Command commands[] = {
    {"foundation-version", "foundation-version V", "the host's version; before all others",
     beforeStart, 1, 1, &prepareFoundationVersion},
    {"time-zone", "time-zone NAME", "like Europe/Berlin; before all others", beforeStart, 1, 1,
     &prepareTimeZone},
    {"clock", "clock YYYY-MM-DD HH:MM", "sets the phone's local time", ordinary, 1, 2,
     &prepareClock},
    {"advance", "advance DURATION", "moves the time on, such as by 2h30m", ordinary, 1, 1,
     &prepareAdvance},
    {"set", "set KEY VALUE", "writes a preference; strings in quotes", ordinary, 2, 2, &prepareSet},
    {"unset", "unset KEY", "removes a preference", ordinary, 1, 1, &prepareUnset},
    {"clear", "clear", "removes all preferences", ordinary, 0, 0, &prepareClear},
    {"post", "post NAME", "posts a Darwin notification", ordinary, 1, 1, &preparePost},
    {"contact", "contact NAME [phone P]... [email E]...", "adds a person; gives the record ID",
     ordinary, 1, unlimited, &prepareContact},
    {"group", "group NAME [MEMBER]...", "adds a group; gives the record ID", ordinary, 1, unlimited,
     &prepareGroup},
    {"favourite", "favourite ID", "puts an ID on the favourites list", ordinary, 1, 1,
     &prepareFavourite},
    {"access", "access granted|denied", "may the address book be read?", ordinary, 1, 1,
     &prepareAccess},
    {"address-book", "address-book present|missing", "can the address book be opened?", ordinary, 1,
     1, &prepareAddressBook},
    {"dnd", "dnd on|off", "Do Not Disturb by hand", ordinary, 1, 1, &prepareDnd},
    {"gateway", "gateway TYPES [SOURCE]", "reports override types to the gateway", ordinary, 1, 2,
     &prepareGateway},
    {"platform-answer", "platform-answer auto|yes|no", "what the server itself decides", ordinary,
     1, 1, &preparePlatformAnswer},
    {"message", "message [SENDER]", "arrives: presented or held back", ordinary, 0, 1,
     &prepareMessage},
    {"notification", "notification TYPE [SENDER]", "the same for any type", ordinary, 1, 2,
     &prepareNotification},
    {"schedule", "schedule HH:MM-HH:MM|off", "Do Not Disturb daily from then to then", ordinary, 1,
     1, &prepareSchedule},
    {"active", "active YYYY-MM-DD HH:MM", "is the schedule in force at that time?", ordinary, 1, 2,
     &prepareActive},
    {"suppressed", "suppressed DAYS", "is a day, counted from today, left out?", ordinary, 1, 1,
     &prepareSuppressed},
    {"interval", "interval", "the schedule that the library reads", ordinary, 0, 0,
     &prepareInterval},
    {"matcher", "matcher [ID]", "asks the library's number matcher", ordinary, 0, 1,
     &prepareMatcher},
    {"groups", "groups", "the library's list of groups", ordinary, 0, 0, &prepareGroups},
    {"debug", "debug on|off", "sets enableDebugLogging", ordinary, 1, 1, &prepareDebug},
    {"state", "state", "the library's exported values", ordinary, 0, 0, &prepareState},
    {"expect", "expect TEXT", "last output line of the command before", expectation, 1, 1,
     &prepareExpect},
    {"expect-log", "expect-log TEXT", "a log text of the command before", expectation, 1, 1,
     &prepareExpectLog},
};

}  // namespace

std::span<const Command> commandTable() { return commands; }

const Command* findCommand(std::string_view name) {
  const auto* found = std::find_if(std::begin(commands), std::end(commands),
                                   [name](const Command& command) { return command.name == name; });
  return found == std::end(commands) ? nullptr : found;
}

std::string describeCommand(const Command& command) {
  return fmt::format("{:<39}{}", command.usage, command.help);
}

std::string describeCommands() {
  std::string text = "The scenario language, one command a line, # starts a comment:\n";
  for (const Command& command : commandTable()) text += "  " + describeCommand(command) + "\n";
  return text;
}

}  // namespace home_screen
