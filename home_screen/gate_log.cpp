#include "home_screen/gate_log.hpp"

namespace home_screen {
namespace {

constexpr std::string_view foundNumber = "HL:\tfound privileged phone with destinationID suffix (";
constexpr std::string_view foundNoNumber =
    "HL:\tdid not find privileged phone with destinationID suffix (";
// Between the tail and the number. The number is all digits, so the last of these is the one.
constexpr std::string_view separator = "): ";

bool isYes(const std::optional<std::string>& text) { return text && text->starts_with('y'); }

bool holds(const Lines& log, std::string_view beginning) {
  return textAfter(log, beginning).has_value();
}

}  // namespace

std::optional<std::string> textAfter(const Lines& log, std::string_view beginning) {
  for (const std::string& line : log) {
    if (line.starts_with(beginning)) return line.substr(beginning.size());
  }
  return std::nullopt;
}

std::optional<std::string> tailCompared(const Lines& log) {
  if (const auto match = textAfter(log, foundNumber)) {
    return match->substr(0, match->rfind(separator));
  }
  const auto miss = textAfter(log, foundNoNumber);
  if (!miss || miss->empty()) return std::nullopt;
  return miss->substr(0, miss->size() - 1);
}

std::optional<GateLog> readGateLog(const Lines& log) {
  GateLog gate;
  const auto phone = textAfter(log, "HL: default should present this notification: ");
  if (!phone) return std::nullopt;
  gate.phonePresents = isYes(phone);
  if (holds(log, "HL: notification is not a message")) {
    gate.presented = gate.phonePresents;
    return gate;
  }

  const auto result = textAfter(log, "HL: presenting contact?, returning: ");
  const auto state = textAfter(log, "HL: DnD active:");
  constexpr std::string_view beforeMode = "y, privilegedGroupID=";
  if (!result || !state || state->size() < beforeMode.size()) return std::nullopt;
  const auto mode = parseInteger(std::string_view(*state).substr(beforeMode.size()));
  if (!mode) return std::nullopt;
  gate.isMessage = true;
  gate.doNotDisturb = isYes(state);
  gate.mode = *mode;
  gate.presented = isYes(result);

  if (const auto digits = textAfter(log, "HL: comparing last ")) {
    gate.digitsCompared = parseInteger(digits->substr(0, digits->find(' ')));
    gate.tail = tailCompared(log).value_or("");
  }
  if (const auto match = textAfter(log, foundNumber)) {
    gate.matchedNumber = match->substr(match->rfind(separator) + separator.size());
  }
  gate.matchedAddress = holds(log, "HL: found sender ID in privileged senders emails");
  return gate;
}

}  // namespace home_screen
