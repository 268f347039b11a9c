// A message arrives: is it presented, and why? Told from the lines that the library itself logs
// about it; nothing is decided again here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "home_screen/session/session.hpp"

namespace home_screen {

// What the library logged about the arrival of one notification.
struct GateLog {
  bool phonePresents = false;  // the phone's own answer
  bool isMessage = false;      // if not, the phone's answer stands, and nothing below was asked
  bool doNotDisturb = false;
  std::int64_t mode = 0;

  // When the sender was compared with the members' numbers:
  std::optional<std::int64_t> digitsCompared;
  std::string tail;
  std::optional<std::string> matchedNumber;  // the member's, in digits

  bool matchedAddress = false;
  bool presented = false;
};

struct Arrival {
  bool presented;
  GateLog gate;
};

// A message from that sender arrives. Throws std::runtime_error when the library's log does not
// tell of it.
Arrival askAboutMessage(Session& session, const std::string& sender);

// The tail that the library compares for that number.
std::string askForTail(Session& session, const std::string& number);

// "presented" or "held back".
const char* answerName(bool presented);

// A few words about the answer.
std::string reasonFor(const GateLog& gate);
// The same; needs the log of an arrival with debug logging on. "" when the log does not say.
std::string reasonFor(const Lines& log);

}  // namespace home_screen
