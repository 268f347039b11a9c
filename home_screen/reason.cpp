#include "home_screen/reason.hpp"

#include <fmt/format.h>

#include <optional>
#include <string_view>

namespace home_screen {
namespace {

// What follows these words in the first log line that begins with them.
std::optional<std::string> after(const Lines& log, std::string_view beginning) {
  for (const std::string& line : log) {
    if (line.starts_with(beginning)) return line.substr(beginning.size());
  }
  return std::nullopt;
}

// The text in the parentheses of a line such as "... suffix (1234567): 15551234567".
std::string inParentheses(const std::string& text) {
  const std::size_t open = text.find('(');
  const std::size_t close = text.find(')', open);
  if (open == std::string::npos || close == std::string::npos) return "";
  return text.substr(open + 1, close - open - 1);
}

std::string reasonInGroup(const Lines& log, bool presented) {
  if (const auto match = after(log, "HL:\tfound privileged phone with destinationID suffix ")) {
    return fmt::format("a member's number ends in {}", inParentheses(*match));
  }
  if (const auto miss = after(log, "HL:\tdid not find privileged phone")) {
    return fmt::format("no member's number ends in {}", inParentheses(*miss));
  }
  return presented ? "a member's address" : "no member's address";
}

std::string reasonInMode(const Lines& log, long mode, bool presented) {
  switch (mode) {
    case -100:
      return "everyone gets through";
    case -200:
      return "nobody gets through";
    case -300:
      return presented ? "on the favourites list" : "not on the favourites list";
    case -400:
      return presented ? "in the contacts" : "not in the contacts";
    default:
      return mode > 0 ? reasonInGroup(log, presented) : "this mode lets nobody through";
  }
}

}  // namespace

std::string reasonFor(const Lines& log) {
  if (after(log, "HL: notification is not a message")) return "not a message: the phone decides";
  const auto state = after(log, "HL: DnD active:");
  const auto mode = after(log, "HL: DnD active:y, privilegedGroupID=");
  const auto result = after(log, "HL: presenting contact?, returning: ");
  if (!state || !result) return "";
  if (!mode) return "Do Not Disturb is off";
  if (after(log, "HL: default should present this notification: y")) {
    return "the phone presents it itself";
  }
  const auto value = parseInteger(*mode);
  return value ? reasonInMode(log, *value, *result == "y") : "";
}

std::string modeName(long mode) {
  switch (mode) {
    case -100:
      return "everyone";
    case -200:
      return "nobody";
    case -300:
      return "favourites";
    case -400:
      return "all contacts";
    default:
      return mode > 0 ? fmt::format("group {}", mode) : fmt::format("nobody (mode {})", mode);
  }
}

}  // namespace home_screen
