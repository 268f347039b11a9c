#include "home_screen/completion.hpp"

#include <algorithm>
#include <iterator>

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/mode.hpp"
#include "home_screen/ask/who.hpp"
#include "home_screen/scenario/commands.hpp"
#include "simulator/device.hpp"

namespace home_screen {
namespace {

// ---- Values from the phone ---------------------------------------------------------------------

std::string quotedIfNeeded(const std::string& text) {
  if (!text.empty() && text.find_first_of(" #\"\\") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') quoted += '\\';
    quoted += letter;
  }
  return quoted + '"';
}

Lines people(const Session& session, const Lines&) {
  Lines names;
  for (const simulator::Person& person : session.device().addressBook.people()) {
    names.push_back(quotedIfNeeded(person.name));
  }
  return names;
}

Lines senders(const Session& session, const Lines&) {
  Lines all;
  for (const simulator::Person& person : session.device().addressBook.people()) {
    for (const std::string& number : person.phones) all.push_back(senderFrom(number));
    for (const std::string& address : person.emails) all.push_back(quotedIfNeeded(address));
  }
  return all;
}

Lines valuesOfKey(const Session& session, const Lines& before) {
  const std::string& key = before.back();
  if (key == digitsKey) return {"7"};
  if (key != modeKey) return {"true", "false"};
  Lines values;
  for (const Mode& mode : modes()) values.push_back(std::to_string(mode.value));
  for (const simulator::Group& group : session.device().addressBook.groups()) {
    values.push_back(std::to_string(group.id));
  }
  return values;
}

Lines today(const Session& session, const Lines&) {
  const simulator::Clock& clock = session.device().clock;
  return {formatTime("%F", clock.local(clock.now()))};
}

Lines zones(const Session&, const Lines&) { return timeZones(); }

struct Source {
  std::string_view command;
  std::size_t first;  // of the words behind it, from 1
  std::size_t last;
  Lines (*values)(const Session&, const Lines& before);
};

constexpr std::size_t all = SIZE_MAX;
constexpr Source sources[] = {{"set", 2, 2, &valuesOfKey},      {"group", 2, all, &people},
                              {"time-zone", 1, 1, &zones},      {"message", 1, 1, &senders},
                              {"matcher", 1, 1, &senders},      {"favourite", 1, 1, &senders},
                              {"notification", 2, 2, &senders}, {"explain", 1, 1, &senders},
                              {"clock", 1, 1, &today},          {"active", 1, 1, &today}};

// ---- The line ----------------------------------------------------------------------------------

// Its words as they are typed, the last one perhaps empty or unfinished, and where that begins.
struct Typed {
  Lines words;
  std::size_t start;
};

Typed wordsIn(std::string_view line) {
  Typed typed{{""}, 0};
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const bool escaped = quoted && line[i] == '\\' && i + 1 < line.size();
    if (line[i] == '"') quoted = !quoted;
    if (!quoted && line[i] == ' ') {
      if (!typed.words.back().empty()) typed.words.emplace_back();
      typed.start = i + 1;
      continue;
    }
    typed.words.back() += line[i];
    if (escaped) typed.words.back() += line[++i];
  }
  return typed;
}

Lines commandNames(const Lines& questions) {
  Lines names = questions;
  for (const Command& command : commandTable()) names.emplace_back(command.name);
  return names;
}

Lines possibleWords(const Lines& words, const Session& session, const Lines& questions) {
  const std::size_t position = words.size() - 1;
  Lines names = commandNames(questions);
  if (position == 0) {
    names.insert(names.end(), {"help", "quit", "save"});
    return names;
  }
  if (words.front() == "help") return position == 1 ? names : Lines();
  for (const Source& source : sources) {
    if (source.command != words.front()) continue;
    if (position < source.first || position > source.last) continue;
    return source.values(session, {words.begin(), words.end() - 1});
  }
  const Command* command = findCommand(words.front());
  const bool isContact = words.front() == "contact";  // its choices stand behind the name
  if (command == nullptr || (position > 1) != isContact) return {};
  return possibleArguments(*command);
}

}  // namespace

Completions complete(std::string_view line, const Session& session, const Lines& questions) {
  const Typed typed = wordsIn(line);
  Completions completions{typed.start, possibleWords(typed.words, session, questions)};
  Lines& words = completions.words;
  std::erase_if(words,
                [&](const std::string& word) { return !word.starts_with(typed.words.back()); });
  std::ranges::sort(words);
  words.erase(std::unique(words.begin(), words.end()), words.end());
  return completions;
}

}  // namespace home_screen
