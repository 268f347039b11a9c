#include "home_screen/report.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "home_screen/terminal.hpp"

namespace home_screen {
namespace {

constexpr std::size_t commandWidth = 46;
constexpr const char* indent = "      ";

Tone toneOf(const std::string& output) {
  return output == "presented" ? Tone::good : output == "held back" ? Tone::bad : Tone::strong;
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

void printIndented(const Lines& lines) {
  for (const std::string& line : lines) fmt::print("{}{}\n", indent, line);
}

void printLog(const Outcome& outcome) {
  Lines lines;
  for (const std::string& text : outcome.log) {
    lines.push_back(toned("| " + printable(text), Tone::faint));
  }
  printIndented(lines);
}

}  // namespace

void reportText(const Outcome& outcome, bool showLog) {
  if (outcome.line == 0 && !showLog) return;
  const std::string command = printable(outcome.command);
  const Lines result = resultOf(outcome);
  const bool besideCommand = result.size() == 1 && columns(command) < commandWidth;

  fmt::print("{}  {}\n", toned(fmt::format("{:4}", outcome.line), Tone::faint),
             besideCommand ? padded(command, commandWidth) + result.front() : command);
  if (!besideCommand) printIndented(result);
  if (showLog) printLog(outcome);
}

void reportResult(const Outcome& outcome, bool showLog) {
  printIndented(resultOf(outcome));
  if (showLog) printLog(outcome);
}

void reportJson(const Outcome& outcome) {
  nlohmann::ordered_json object;
  object["line"] = outcome.line;
  object["command"] = outcome.command;
  object["output"] = outcome.output;
  object["log"] = outcome.log;
  // Text that is not UTF-8 is shown with replacement characters instead of being refused.
  fmt::print("{}\n", object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void complain(const std::string& complaint) {
  std::fflush(stdout);
  fmt::print(stderr, "{}\n", printable(complaint));
}

void complainAboutFailure(const Outcome& outcome, const std::string& file) {
  complain(fmt::format("{}:{}: {}", file, outcome.line, *outcome.failure));
}

}  // namespace home_screen
