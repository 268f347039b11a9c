#include "home_screen/scenario/reader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <istream>
#include <system_error>
#include <utility>

#include "home_screen/session/nearest.hpp"

namespace home_screen {
namespace {

constexpr std::string_view blanks = " \t\r";

char escaped(char letter) {
  constexpr std::pair<char, char> escapes[] = {
      {'"', '"'}, {'\\', '\\'}, {'t', '\t'}, {'r', '\r'}, {'n', '\n'}};
  for (const auto& [name, meant] : escapes) {
    if (letter == name) return meant;
  }
  throw BadWords(std::string("unknown escape \"\\") + letter +
                 "\"; expected \\\" \\\\ \\t \\r or \\n");
}

// Reads from behind the opening quote, and moves to behind the closing one.
Word quotedWord(std::string_view line, std::size_t& position) {
  Word word{"", true};
  while (position < line.size() && line[position] != '"') {
    if (line[position] == '\\' && position + 1 < line.size()) {
      word.text += escaped(line[++position]);
    } else {
      word.text += line[position];
    }
    ++position;
  }
  if (position == line.size()) {
    throw BadWords("the quoted text has no end; expected a closing double quote");
  }
  ++position;
  if (position < line.size() && line[position] != '#' &&
      blanks.find(line[position]) == std::string_view::npos) {
    throw BadWords("text directly behind a closing double quote; expected a space");
  }
  return word;
}

Word plainWord(std::string_view line, std::size_t& position) {
  const std::size_t end = std::min(line.find_first_of(" \t\r#\"", position), line.size());
  if (end < line.size() && line[end] == '"') {
    throw BadWords("a double quote inside a word; expected quotes around the whole word");
  }
  const std::size_t start = std::exchange(position, end);
  return {std::string(line.substr(start, end - start)), false};
}

struct SplitLine {
  Words words;
  std::string text;  // as written, without the comment
};

SplitLine splitLine(std::string_view line) {
  SplitLine result;
  std::size_t position = 0;
  std::size_t end = 0;
  while (true) {
    position = line.find_first_not_of(blanks, position);
    if (position == std::string_view::npos || line[position] == '#') break;
    if (line[position] == '"') {
      result.words.push_back(quotedWord(line, ++position));
    } else {
      result.words.push_back(plainWord(line, position));
    }
    end = position;
  }
  const std::size_t start = std::min(line.find_first_not_of(blanks), end);
  result.text = line.substr(start, end - start);
  return result;
}

const Command& commandNamed(const std::string& name, Lines names) {
  if (const Command* command = findCommand(name)) return *command;
  for (const Command& command : commandTable()) names.emplace_back(command.name);
  throw BadWords("unknown command \"" + name + '"' + didYouMeanOneOf(name, names));
}

}  // namespace

Words splitIntoWords(std::string_view line) { return splitLine(line).words; }

ScenarioReader::ScenarioReader(std::string file, People people, Lines foreign)
    : file_(std::move(file)), people_(std::move(people)), foreign_(std::move(foreign)) {}

ScenarioError ScenarioReader::complaint(const BadWords& error) const {
  return ScenarioError(file_ + ":" + std::to_string(line_) + ": " + error.what());
}

void ScenarioReader::assumePerson(std::string_view line) try {
  const Words words = splitLine(line).words;
  if (words.size() > 1 && words[0].text == "contact") people_.emplace(words[1].text, 0);
} catch (const BadWords&) {
  return;
}

Words ScenarioReader::readForeignLine(std::string_view line) {
  ++line_;
  started_ = true;
  try {
    return splitLine(line).words;
  } catch (const BadWords& error) {
    throw complaint(error);
  }
}

std::optional<Statement> ScenarioReader::readLine(std::string_view line) {
  ++line_;
  try {
    auto [words, text] = splitLine(line);
    if (words.empty()) return std::nullopt;
    const Command& command = commandNamed(words.front().text, foreign_);
    words.erase(words.begin());
    Action action = readCommand(command, words, people_);
    if (command.kind == Command::Kind::beforeStart && started_) {
      throw BadWords('"' + std::string(command.name) +
                     "\" after the library was loaded; expected it before every other command");
    }
    started_ = command.kind != Command::Kind::beforeStart;
    return Statement{line_, std::move(text), &command, std::move(words), std::move(action)};
  } catch (const BadWords& error) {
    throw complaint(error);
  }
}

std::vector<Statement> readScenario(std::istream& stream, const std::string& file, People people) {
  ScenarioReader reader(file, std::move(people));
  std::vector<Statement> statements;
  std::string line;
  Lines complaints;
  while (std::getline(stream, line)) {
    try {
      if (auto statement = reader.readLine(line)) statements.push_back(std::move(*statement));
    } catch (const ScenarioError& error) {
      complaints.emplace_back(error.what());
      reader.assumePerson(line);
    }
  }
  if (!complaints.empty()) throw ScenarioError(std::move(complaints));
  if (!stream.eof()) throw ScenarioError(file + ": can't be read; expected a scenario file");
  return statements;
}

void refuseBrokenInput() {
  if (std::ferror(stdin) == 0) return;
  throw ScenarioError("standard input: " + std::generic_category().message(errno) +
                      "; expected a scenario");
}

}  // namespace home_screen
