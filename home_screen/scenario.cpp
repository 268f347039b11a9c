#include "home_screen/scenario.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace home_screen {
namespace {

constexpr std::string_view blanks = " \t\r";

// What a line holds: its words, and its text up to the comment.
struct SplitLine {
  Words words;
  std::string text;
};

char escaped(char letter) {
  switch (letter) {
    case '"':
    case '\\':
      return letter;
    case 't':
      return '\t';
    case 'r':
      return '\r';
    case 'n':
      return '\n';
    default:
      throw BadArgument(fmt::format("unknown escape \"\\{}\"; expected \\\" \\\\ \\t \\r or \\n",
                                    printable(std::string_view(&letter, 1))));
  }
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
    throw BadArgument("the quoted text has no end; expected a closing double quote");
  }
  ++position;
  if (position < line.size() && line[position] != '#' &&
      blanks.find(line[position]) == std::string_view::npos) {
    throw BadArgument("text directly behind a closing double quote; expected a space");
  }
  return word;
}

Word plainWord(std::string_view line, std::size_t& position) {
  const std::size_t end = std::min(line.find_first_of(" \t\r#\"", position), line.size());
  if (end < line.size() && line[end] == '"') {
    throw BadArgument("a double quote inside a word; expected quotes around the whole word");
  }
  const std::size_t start = std::exchange(position, end);
  return {std::string(line.substr(start, end - start)), false};
}

SplitLine split(std::string_view line) {
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

const Command& commandNamed(const std::string& name) {
  if (const Command* command = findCommand(name)) return *command;
  std::string names;
  for (const Command& command : commandTable()) {
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  }
  throw BadArgument(
      fmt::format("unknown command \"{}\"; expected one of {}", printable(name), names));
}

Action prepare(const Command& command, const Words& arguments, KnownPeople& people) {
  try {
    if (arguments.size() < command.fewestArguments) throw BadArgument("too few words");
    if (arguments.size() > command.mostArguments) {
      throw BadArgument("too many words (a text with spaces needs double quotes)");
    }
    return command.prepare(arguments, people);
  } catch (const BadArgument& error) {
    throw BadArgument(fmt::format("{}; expected {}", error.what(), command.usage));
  }
}

}  // namespace

ScenarioReader::ScenarioReader(std::string file, KnownPeople people)
    : file_(std::move(file)), people_(std::move(people)) {}

std::optional<Statement> ScenarioReader::readLine(std::string_view line) {
  ++line_;
  try {
    SplitLine parts = split(line);
    if (parts.words.empty()) return std::nullopt;

    Statement statement;
    statement.line = line_;
    statement.text = std::move(parts.text);
    statement.command = &commandNamed(parts.words.front().text);
    statement.arguments.assign(parts.words.begin() + 1, parts.words.end());
    statement.action = prepare(*statement.command, statement.arguments, people_);

    if (statement.command->kind != Command::Kind::beforeStart) {
      started_ = true;
    } else if (started_) {
      throw BadArgument(
          fmt::format("\"{}\" after the library was loaded; expected it before "
                      "every other command",
                      statement.command->name));
    }
    return statement;
  } catch (const BadArgument& error) {
    throw ScenarioError(fmt::format("{}:{}: {}", file_, line_, error.what()));
  }
}

std::vector<Statement> readScenario(std::istream& stream, const std::string& file,
                                    KnownPeople people) {
  ScenarioReader reader(file, std::move(people));
  std::vector<Statement> statements;
  std::string line;
  while (std::getline(stream, line)) {
    if (auto statement = reader.readLine(line)) statements.push_back(std::move(*statement));
  }
  if (!stream.eof()) {
    throw ScenarioError(fmt::format("{}: can't be read; expected a scenario file", file));
  }
  return statements;
}

}  // namespace home_screen
