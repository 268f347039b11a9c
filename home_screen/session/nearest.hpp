// What somebody who has mistyped a word may have meant.
//
// Plain functions, any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "home_screen/session/notation.hpp"

namespace home_screen {

// The nearest of the known words: one that begins as was typed, or that a few slips (a letter too
// many, too few, another, or two exchanged; at most one in three) make of it, in capitals or not.
std::optional<std::string> nearestOf(const Lines& known, std::string_view typed);

// "; did you mean NEAREST?", or nothing when none is near.
std::string didYouMean(std::string_view typed, const Lines& known);

// The same, or "; expected FIRST, SECOND or THIRD".
std::string didYouMeanOneOf(std::string_view typed, const Lines& known);

}  // namespace home_screen
