// The values of allowedMessageGroup, and what they mean to people.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "home_screen/session/session.hpp"

namespace home_screen {

// A value other than the record ID of a group.
struct Mode {
  std::int64_t value;
  const char* name;
  const char* test;           // what the phone looks up; null when it need not
  const char* whenPresented;  // why
  const char* whenHeldBack;
};

std::span<const Mode> modes();
const Mode* findMode(std::int64_t value);  // null for a group, and for a value without a meaning

std::string modeName(std::int64_t value);

// Does the phone know the settings, and those among whom it looks a sender up in that mode?
bool knowsWhomToLetThrough(const Session& session, std::int64_t mode);

// Stands in an answer for what is not known.
inline constexpr const char* notInBackup = "not in this backup";
inline constexpr const char* unknownPart = "unknown, not in this backup";

}  // namespace home_screen
