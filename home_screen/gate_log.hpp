// What the library itself logged about the arrival of one notification, taken apart into values.
// Nothing is decided here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "home_screen/notation.hpp"

namespace home_screen {

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

// Needs the log of an arrival with debug logging on; nothing when a line is missing.
std::optional<GateLog> readGateLog(const Lines& log);

// The tail that the number matcher compared, from its own lines; nothing when they are missing.
std::optional<std::string> tailCompared(const Lines& log);

// What follows these words in the first line that begins with them.
std::optional<std::string> textAfter(const Lines& log, std::string_view beginning);

}  // namespace home_screen
