// Scenarios of any text: statements, or an error that names the line; and the texts of the
// statements are themselves a scenario that says the same.

#include "home_screen/scenario.hpp"

#include <algorithm>
#include <sstream>

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
  const std::string start = "input:";
  fuzz::require(message.starts_with(start), "an error names the file");
  char* behind = nullptr;
  const long line = std::strtol(message.c_str() + start.size(), &behind, 10);
  const long lines = 1 + std::count(text.begin(), text.end(), '\n');
  fuzz::require(line >= 1 && line <= lines && std::string(behind).starts_with(": "),
                "an error names a line that is there");
  fuzz::require(std::none_of(message.begin(), message.end(), &isControl),
                "an error can be shown on a terminal");
  fuzz::require(message.find("expected") != std::string::npos, "an error says what was expected");
}

bool sameWords(const home_screen::Words& left, const home_screen::Words& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const home_screen::Word& a, const home_screen::Word& b) {
                      return a.text == b.text && a.quoted == b.quoted;
                    });
}

void checkStatements(const std::vector<Statement>& statements) {
  std::string text;
  for (const Statement& statement : statements) text += statement.text + "\n";
  const std::vector<Statement> again = read(text);
  const bool same =
      std::equal(statements.begin(), statements.end(), again.begin(), again.end(),
                 [](const Statement& a, const Statement& b) {
                   return a.command == b.command && sameWords(a.arguments, b.arguments);
                 });
  fuzz::require(same, "the texts of the statements say the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<Statement> statements;
  try {
    statements = read(text);
  } catch (const ScenarioError& error) {
    checkError(error.what(), text);
    return 0;
  }
  checkStatements(statements);
  return 0;
}
