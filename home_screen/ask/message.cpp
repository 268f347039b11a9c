#include "home_screen/ask/message.hpp"

#include <stdexcept>
#include <utility>

#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/mode.hpp"
#include "simulator/device.hpp"

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

// The tail that the number matcher compared; nothing when its lines are missing.
std::optional<std::string> tailCompared(const Lines& log) {
  if (const auto match = textAfter(log, foundNumber)) {
    return match->substr(0, match->rfind(separator));
  }
  const auto miss = textAfter(log, foundNoNumber);
  if (!miss || miss->empty()) return std::nullopt;
  return miss->substr(0, miss->size() - 1);
}

// Needs the log of an arrival with debug logging on; nothing when a line is missing.
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

}  // namespace

Arrival askAboutMessage(Session& session, const std::string& sender) {
  constexpr int message = 1;
  Arrival arrival{};
  const Lines log = session.logOf(
      [&] { arrival.presented = session.device().bulletinBoard.arrives(message, sender); });
  auto gate = readGateLog(log);
  if (!gate) throw std::runtime_error("the library's log does not tell of the message");
  arrival.gate = std::move(*gate);
  return arrival;
}

std::string askForTail(Session& session, const std::string& number) {
  return tailCompared(session.logOf([&] { askMatcher(session, number); })).value_or("");
}

const char* answerName(bool presented) { return presented ? "presented" : "held back"; }

std::string reasonFor(const GateLog& gate) {
  if (!gate.isMessage) return "not a message: the phone decides";
  if (!gate.doNotDisturb) return "Do Not Disturb is off";
  if (gate.phonePresents) return "the phone presents it itself";
  if (const Mode* mode = findMode(gate.mode)) {
    return gate.presented ? mode->whenPresented : mode->whenHeldBack;
  }
  if (gate.mode <= 0) return "this mode lets nobody through";
  if (gate.digitsCompared) {
    return (gate.matchedNumber ? "a member's number ends in " : "no member's number ends in ") +
           gate.tail;
  }
  return gate.matchedAddress ? "a member's address" : "no member's address";
}

std::string reasonFor(const Lines& log) {
  const auto gate = readGateLog(log);
  return gate ? reasonFor(*gate) : "";
}

}  // namespace home_screen
