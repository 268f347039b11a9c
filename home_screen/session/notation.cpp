#include "home_screen/session/notation.hpp"

#include <date/date.h>
#include <date/tz.h>
#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "simulator/context/clock.hpp"
#include "simulator/frameworks/bulletin_board.hpp"

namespace home_screen {
namespace {

template <class T, class... Base>
std::optional<T> parseWhole(std::string_view text, Base... base) {
  T value{};
  const char* end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, value, base...);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return value;
}

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

// The numbers in a text of just this shape, in which a 0 stands for any digit; else none.
std::vector<int> numbersIn(std::string_view text, std::string_view shape) {
  if (text.size() != shape.size()) return {};
  std::vector<int> numbers;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (shape[i] != '0' ? text[i] != shape[i] : !isDigit(text[i])) return {};
    if (shape[i] != '0') continue;
    if (i == 0 || shape[i - 1] != '0') numbers.push_back(0);
    numbers.back() = numbers.back() * 10 + (text[i] - '0');
  }
  return numbers;
}

}  // namespace

std::optional<std::int64_t> parseInteger(std::string_view text) {
  return parseWhole<std::int64_t>(text);
}

std::optional<std::uint64_t> parseBits(std::string_view text) {
  if (text.starts_with("0x")) return parseWhole<std::uint64_t>(text.substr(2), 16);
  return parseWhole<std::uint64_t>(text);
}

std::optional<double> parseReal(std::string_view text) {
  const std::optional<double> value = parseWhole<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<LocalTime> parseLocalTime(std::string_view text) {
  std::vector<int> parts = numbersIn(text, "0000-00-00 00:00:00");
  if (parts.empty()) parts = numbersIn(text, "0000-00-00 00:00");
  if (parts.empty()) return std::nullopt;
  parts.resize(6);
  const date::year_month_day day = date::year(parts[0]) / parts[1] / parts[2];
  if (!day.ok() || parts[3] > 23 || parts[4] > 59 || parts[5] > 59) return std::nullopt;
  return date::local_days(day) + std::chrono::hours(parts[3]) + std::chrono::minutes(parts[4]) +
         std::chrono::seconds(parts[5]);
}

std::string formatTime(const char* format, LocalTime time) { return date::format(format, time); }

std::optional<simulator::DailyPeriod> parseDailyPeriod(std::string_view text) {
  const std::vector<int> parts = numbersIn(text, "00:00-00:00");
  if (parts.empty() || parts[0] > 23 || parts[1] > 59 || parts[2] > 23 || parts[3] > 59) {
    return std::nullopt;
  }
  const std::chrono::minutes from(parts[0] * 60 + parts[1]);
  const std::chrono::minutes to(parts[2] * 60 + parts[3]);
  if (from == to) return std::nullopt;
  return simulator::DailyPeriod{from, to};
}

std::optional<std::vector<simulator::DailyPeriod>> parseSchedule(std::string_view text) {
  std::vector<simulator::DailyPeriod> periods;
  if (text == "off") return periods;
  while (true) {
    const std::size_t end = std::min(text.find(','), text.size());
    const auto period = parseDailyPeriod(text.substr(0, end));
    if (!period) return std::nullopt;
    periods.push_back(*period);
    if (end == text.size()) return periods;
    text.remove_prefix(end + 1);
  }
}

std::optional<std::chrono::seconds> parseDuration(std::string_view text) {
  static constexpr std::pair<char, int> units[] = {{'d', 86400}, {'h', 3600}, {'m', 60}, {'s', 1}};
  if (text.empty()) return std::nullopt;
  std::chrono::seconds sum(0);
  for (const auto* next = std::begin(units); !text.empty(); ++next) {
    const std::size_t digits = text.find_first_not_of("0123456789");
    if (digits == 0 || digits > 5) return std::nullopt;
    next = std::find_if(next, std::end(units),
                        [&](const auto& unit) { return unit.first == text[digits]; });
    if (next == std::end(units)) return std::nullopt;
    sum += std::chrono::seconds(next->second) * *parseInteger(text.substr(0, digits));
    text.remove_prefix(digits + 1);
  }
  return sum;
}

Lines timeZones() {
  Lines names;
  for (const date::time_zone& zone : date::get_tzdb().zones) names.push_back(zone.name());
  return names;
}

bool isTimeZone(const std::string& name) {
  try {
    simulator::Clock().setTimeZone(name);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

std::optional<std::string> textAfter(const Lines& lines, std::string_view beginning) {
  for (const std::string& line : lines) {
    if (line.starts_with(beginning)) return line.substr(beginning.size());
  }
  return std::nullopt;
}

}  // namespace home_screen
