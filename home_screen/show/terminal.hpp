// Text for a terminal: its width, its colour, and complaints.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace home_screen {

enum class Tone { good, bad, faint, strong };

// The text as it is; in colour where standard output is a terminal, unless NO_COLOR is set
// (https://no-color.org).
std::string toned(const std::string& text, Tone tone);

// The columns that a text takes on a terminal, at one column for each character.
std::size_t columns(std::string_view utf8);
std::string padded(std::string_view utf8, std::size_t width);

// The line with a text from that column on; where what it holds reaches so far, the text takes a
// line of its own.
std::string withColumn(std::string line, std::size_t column, std::string_view text);

// What the program's exit status tells scripts; of several, the greatest counts.
enum ExitStatus { asExpected = 0, expectationFailed = 1, wrongUsage = 2, unreadableDevice = 3 };

// One line on standard error, after all output so far.
void complain(const std::string& complaint);

}  // namespace home_screen
