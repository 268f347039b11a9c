#include "home_screen/reason.hpp"

#include <fmt/format.h>

#include "home_screen/gate_log.hpp"

namespace home_screen {
namespace {

std::string reasonInGroup(const GateLog& gate) {
  if (gate.digitsCompared) {
    return fmt::format("{} number ends in {}", gate.matchedNumber ? "a member's" : "no member's",
                       printable(gate.tail));
  }
  return gate.matchedAddress ? "a member's address" : "no member's address";
}

std::string reasonInMode(const GateLog& gate) {
  switch (gate.mode) {
    case -100:
      return "everyone gets through";
    case -200:
      return "nobody gets through";
    case -300:
      return gate.presented ? "on the favourites list" : "not on the favourites list";
    case -400:
      return gate.presented ? "in the contacts" : "not in the contacts";
    default:
      return gate.mode > 0 ? reasonInGroup(gate) : "this mode lets nobody through";
  }
}

}  // namespace

std::string reasonFor(const Lines& log) {
  const auto gate = readGateLog(log);
  if (!gate) return "";
  if (!gate->isMessage) return "not a message: the phone decides";
  if (!gate->doNotDisturb) return "Do Not Disturb is off";
  if (gate->phonePresents) return "the phone presents it itself";
  return reasonInMode(*gate);
}

std::string modeName(std::int64_t mode) {
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
