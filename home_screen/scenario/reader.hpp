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

// "FILE:LINE: what is wrong; expected what belongs there".
class ScenarioError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The words of a line, without the comment. Throws BadWords.
Words splitIntoWords(std::string_view line);

class ScenarioReader {
 public:
  // `people` are those that the phone knows already.
  ScenarioReader(std::string file, People people);

  // The statement of the next line; nothing for an empty one. Throws ScenarioError.
  std::optional<Statement> readLine(std::string_view line);

 private:
  std::string file_;
  People people_;
  int line_ = 0;
  bool started_ = false;
};

// Throws ScenarioError for the first wrong line, and when the stream can't be read.
std::vector<Statement> readScenario(std::istream& stream, const std::string& file, People people);

// At the end of standard input: throws ScenarioError when it is none, since it could not be read.
// Until then nothing else may be called that fails.
void refuseBrokenInput();

}  // namespace home_screen
