// How values are read and written: numbers, times, durations, text that can't steer a terminal.
//
// Plain functions, any thread. What can't be read gives nothing; a value is read whole or not at
// all.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace date {
struct local_t;
}
namespace simulator {
struct DailyPeriod;
}

namespace home_screen {

using Lines = std::vector<std::string>;

// A time that the phone's own clock shows.
using LocalTime = std::chrono::time_point<date::local_t, std::chrono::seconds>;

std::optional<std::int64_t> parseInteger(std::string_view text);
std::optional<std::uint64_t> parseBits(std::string_view text);  // decimal, or hexadecimal after 0x
std::optional<double> parseReal(std::string_view text);         // finite

// "2026-11-21 23:00", with the seconds or without.
std::optional<LocalTime> parseLocalTime(std::string_view text);
// In the manner of strftime, with English names.
std::string formatTime(const char* format, LocalTime time);

// "22:00-07:00", of two different times.
std::optional<simulator::DailyPeriod> parseDailyPeriod(std::string_view text);

// Several of them with commas between, or "off".
std::optional<std::vector<simulator::DailyPeriod>> parseSchedule(std::string_view text);

// "2h30m": days, hours, minutes and seconds in that order, each at most once and below 100,000.
std::optional<std::chrono::seconds> parseDuration(std::string_view text);

// The IANA names that the machine's time-zone database holds.
Lines timeZones();
// Is this an IANA name that the machine's time-zone database holds?
bool isTimeZone(const std::string& name);

// What would steer a terminal, or hide in it, becomes an escape, so that no text from a file does:
// \t, \r and \n as in the scenario language, else \x1b, \u202e or \U000e0020 by the code. A byte
// that is no part of UTF-8 becomes one like \xff.
std::string printable(std::string_view text);

// What follows these words in the first line that begins with them.
std::optional<std::string> textAfter(const Lines& lines, std::string_view beginning);

}  // namespace home_screen
