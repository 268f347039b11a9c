// Scenarios of any text: statements, or an error that names the line; and the texts of the
// statements are themselves a scenario that says the same.

#include <algorithm>
#include <sstream>

#include "home_screen/scenario/reader.hpp"
#include "tests/fuzz/target.hpp"

namespace {

using home_screen::ScenarioError;
using home_screen::Statement;

std::vector<Statement> read(const std::string& text) {
  std::istringstream stream(text);
  return home_screen::readScenario(stream, "input", {});
}

bool isControl(char unit) { return (unit >= 0 && unit < 0x20) || unit == 0x7f; }

void checkError(const std::string& message, const std::string& text) {
  long line = 0;
  int behind = 0;
  std::sscanf(message.c_str(), "input:%ld: %n", &line, &behind);
  fuzz::require(behind > 0 && line >= 1 && line <= 1 + std::count(text.begin(), text.end(), '\n'),
                "an error names the file and a line that is there");
  fuzz::require(std::none_of(message.begin(), message.end(), &isControl),
                "an error can be shown on a terminal");
  fuzz::require(message.find("expected") != std::string::npos || message.ends_with('?'),
                "an error says what was expected, or what may have been meant");
}

// The commands and their words, each told apart from the next.
std::string meaningOf(const std::vector<Statement>& statements) {
  std::string meaning;
  for (const Statement& statement : statements) {
    meaning.append(statement.command->name);
    for (const home_screen::Word& word : statement.arguments) {
      meaning +=
          (word.quoted ? " quoted " : " bare ") + std::to_string(word.text.size()) + word.text;
    }
  }
  return meaning;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<Statement> statements;
  try {
    statements = read(text);
  } catch (const ScenarioError& error) {
    checkError(error.what(), text);
  }
  std::string again;
  for (const Statement& statement : statements) again += statement.text + "\n";
  fuzz::require(meaningOf(read(again)) == meaningOf(statements),
                "the texts of the statements say the same");
  return 0;
}
