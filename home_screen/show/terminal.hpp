// Text for a terminal: its width, its colour, and complaints.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "home_screen/session/progress.hpp"

namespace home_screen {

enum class Tone { good, bad, faint, strong };

// By itself: where standard output is a terminal that is not dumb (TERM), unless NO_COLOR is set
// (https://no-color.org).
enum class Colour { automatic, always, never };
void chooseColour(Colour choice);

// The text as it is, or in colour.
std::string toned(const std::string& text, Tone tone);

// The columns that a printable text takes on a terminal: two for a wide character, none for one
// that combines with that before it, as the C library knows them for UTF-8, whatever the user's
// locale.
std::size_t columns(std::string_view text);
std::string padded(std::string_view utf8, std::size_t width);

// The line with a text from that column on; where what it holds reaches so far, the text takes a
// line of its own.
std::string withColumn(std::string line, std::size_t column, std::string_view text);

// One line about work that takes longer than a second, on standard error when that is a terminal
// that can wipe it again: how much is done, its share, and the time left.
class ProgressLine {
 public:
  void show(const Progress& progress);

 private:
  using Clock = std::chrono::steady_clock;

  void wipe();

  std::optional<Clock::time_point> start_;  // of the work that is going on
  Clock::time_point next_;                  // when the line is due
  bool shown_ = false;
};

// What the program's exit status tells scripts; of several, the greatest counts. Wrong usage is
// also what the program can't work with: no memory, no temporary directory, no output.
enum ExitStatus { asExpected = 0, expectationFailed = 1, wrongUsage = 2, unreadableDevice = 3 };

// One line on standard error, after all output so far; nothing where that can't be written.
void complain(const std::string& complaint) noexcept;

}  // namespace home_screen
