// The scenario language: one command a line, `#` starts a comment, double quotes around what holds
// spaces; inside them \" \\ \t \r and \n stand for what they say.
//
// A scenario is read whole before any of it is played, so nothing of a wrong one is.
#pragma once

#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "home_screen/scenario/commands.hpp"

namespace home_screen {

struct Statement {
  int line = 0;
  std::string text;  // as written, without the comment
  const Command* command = nullptr;
  Words arguments;
  Action action;
};

// "FILE:LINE: what is wrong; expected what belongs there", for each wrong line.
class ScenarioError : public std::runtime_error {
 public:
  explicit ScenarioError(const std::string& complaint) : ScenarioError(Lines{complaint}) {}
  explicit ScenarioError(Lines complaints)
      : std::runtime_error(complaints.front()), complaints_(std::move(complaints)) {}

  const Lines& complaints() const { return complaints_; }

 private:
  Lines complaints_;
};

// The words of a line, without the comment. Throws BadWords.
Words splitIntoWords(std::string_view line);

class ScenarioReader {
 public:
  // `people` are those that the phone knows already; `foreign` are names that whoever reads lines
  // by this knows besides the commands.
  ScenarioReader(std::string file, People people, Lines foreign = {});

  // The statement of the next line; nothing for an empty one. Throws ScenarioError.
  std::optional<Statement> readLine(std::string_view line);

  // After a wrong line: if it was to add a person, that one counts as known, so that no other line
  // is wrong only for that.
  void assumePerson(std::string_view line);

  // The words of a line that is no statement, but needs the host as all but the first statements
  // do. Throws ScenarioError.
  Words readForeignLine(std::string_view line);

  int line() const { return line_; }  // the number of the line that was read last

  // The complaint about the line that was read last.
  ScenarioError complaint(const BadWords& error) const;

 private:
  std::string file_;
  People people_;
  Lines foreign_;
  int line_ = 0;
  bool started_ = false;
};

// Throws ScenarioError for all wrong lines, and when the stream can't be read.
std::vector<Statement> readScenario(std::istream& stream, const std::string& file, People people);

// At the end of standard input: throws ScenarioError when it is none, since it could not be read.
// Until then nothing else may be called that fails.
void refuseBrokenInput();

}  // namespace home_screen
