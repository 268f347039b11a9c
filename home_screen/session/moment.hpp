// The moment that somebody asks about, and what the machine's own clock and zone say.
//
// Plain functions, any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "home_screen/session/notation.hpp"

namespace home_screen {

// As it was said: what is missing comes from the phone's clock.
struct When {
  std::optional<LocalTime> day;              // else today
  std::optional<std::chrono::seconds> time;  // since midnight; else that of now, or 0 of a day

  bool isNow() const { return !day && !time; }
};

// "now", "23:30" (today), "2026-11-22" (as the day begins), or both with a space or a T between
// them; a time with the seconds or without.
std::optional<When> parseWhen(std::string_view text);

LocalTime onClock(const When& when, LocalTime now);

std::chrono::sys_seconds machineTime();

// The IANA name of the machine's time zone: as TZ says, else as /etc/localtime links to it, else
// as /etc/timezone says; Etc/UTC where there is none of them. Nothing when what is there tells no
// name.
std::optional<std::string> machineTimeZone();

}  // namespace home_screen
