// How the home screen reads and writes values: numbers, times, durations, text for a terminal.
//
// Plain functions, any thread. What can't be read gives nothing; a value is read whole or not at
// all.
#pragma once

#include <date/date.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/frameworks/bulletin_board.hpp"

namespace home_screen {

using Lines = std::vector<std::string>;

std::optional<std::int64_t> parseInteger(std::string_view text);
std::optional<std::uint64_t> parseBits(std::string_view text);  // decimal, or hexadecimal after 0x
std::optional<double> parseReal(std::string_view text);         // finite

// "2026-11-21 23:00" or "2026-11-21 23:00:30".
std::optional<date::local_seconds> parseLocalTime(const std::string& text);
std::string formatLocalTime(date::local_seconds time);  // always with the seconds
std::string formatMoment(date::local_seconds time);     // "Sat 2026-11-21 23:00"

// "22:00-07:00", of two different times.
std::optional<simulator::DailyPeriod> parseDailyPeriod(const std::string& text);

// "2h30m": days, hours, minutes and seconds in that order, each at most once.
std::optional<std::chrono::seconds> parseDuration(const std::string& text);

// Is this an IANA name that the machine's time-zone database holds?
bool isTimeZone(const std::string& name);

// Control characters become the escapes of the scenario language (\t, \r, \n) or \x1b and the
// like, so that no text from a file can steer the terminal.
std::string printable(std::string_view text);

// The columns that a text takes on a terminal, at one column for each character.
std::size_t columns(std::string_view utf8);
std::string padded(std::string_view utf8, std::size_t width);

// The line with a text from that column on; where what it holds reaches so far, the text takes a
// line of its own.
std::string withColumn(std::string line, std::size_t column, std::string_view text);

}  // namespace home_screen
