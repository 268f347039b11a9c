#include "home_screen/notation.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <regex>
#include <stdexcept>

#include "simulator/clock.hpp"

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

int number(const std::ssub_match& digits) { return digits.matched ? std::stoi(digits.str()) : 0; }

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

std::optional<date::local_seconds> parseLocalTime(const std::string& text) {
  static const std::regex pattern(R"((\d{4})-(\d\d)-(\d\d) (\d\d):(\d\d)(?::(\d\d))?)");
  std::smatch parts;
  if (!std::regex_match(text, parts, pattern)) return std::nullopt;

  const date::year_month_day day(date::year(number(parts[1])),
                                 date::month(static_cast<unsigned>(number(parts[2]))),
                                 date::day(static_cast<unsigned>(number(parts[3]))));
  const int hour = number(parts[4]);
  const int minute = number(parts[5]);
  const int second = number(parts[6]);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return date::local_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second);
}

std::string formatLocalTime(date::local_seconds time) { return date::format("%F %T", time); }

std::string formatMoment(date::local_seconds time) { return date::format("%a %F %R", time); }

std::optional<simulator::DailyPeriod> parseDailyPeriod(const std::string& text) {
  static const std::regex pattern(R"(([01]\d|2[0-3]):([0-5]\d)-([01]\d|2[0-3]):([0-5]\d))");
  std::smatch parts;
  if (!std::regex_match(text, parts, pattern)) return std::nullopt;
  const std::chrono::minutes from(number(parts[1]) * 60 + number(parts[2]));
  const std::chrono::minutes to(number(parts[3]) * 60 + number(parts[4]));
  if (from == to) return std::nullopt;
  return simulator::DailyPeriod{from, to};
}

std::optional<std::chrono::seconds> parseDuration(const std::string& text) {
  static const std::regex pattern(
      R"((?:(\d{1,5})d)?(?:(\d{1,5})h)?(?:(\d{1,5})m)?(?:(\d{1,5})s)?)");
  std::smatch parts;
  if (text.empty() || !std::regex_match(text, parts, pattern)) return std::nullopt;
  return date::days(number(parts[1])) + std::chrono::hours(number(parts[2])) +
         std::chrono::minutes(number(parts[3])) + std::chrono::seconds(number(parts[4]));
}

bool isTimeZone(const std::string& name) {
  try {
    simulator::Clock().setTimeZone(name);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

std::string printable(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    if (byte == '\t') {
      result += "\\t";
    } else if (byte == '\r') {
      result += "\\r";
    } else if (byte == '\n') {
      result += "\\n";
    } else if (byte < 0x20 || byte == 0x7f) {
      result += fmt::format("\\x{:02x}", byte);
    } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {  // the controls above ASCII
      result += fmt::format("\\x{:02x}", next);
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::size_t columns(std::string_view utf8) {
  const auto continues = [](char unit) {
    return (static_cast<unsigned char>(unit) & 0xc0) == 0x80;
  };
  return utf8.size() - static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), continues));
}

std::string padded(std::string_view utf8, std::size_t width) {
  std::string result(utf8);
  const std::size_t taken = columns(utf8);
  if (taken < width) result.append(width - taken, ' ');
  return result;
}

std::string withColumn(std::string line, std::size_t column, std::string_view text) {
  const std::size_t start = line.rfind('\n') + 1;  // 0 when there is only one line
  const std::size_t taken = columns(std::string_view(line).substr(start));
  line += taken < column ? std::string(column - taken, ' ') : '\n' + std::string(column, ' ');
  return line.append(text);
}

}  // namespace home_screen
