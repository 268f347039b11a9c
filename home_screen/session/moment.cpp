#include "home_screen/session/moment.hpp"

#include <date/date.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <system_error>

namespace home_screen {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view utc = "Etc/UTC";

std::optional<std::string> zoneNamed(std::string name) {
  if (name.empty() || !isTimeZone(name)) return std::nullopt;
  return name;
}

// The zone that a file of the time-zone database is about.
std::optional<std::string> zoneOfFile(const std::string& file) {
  constexpr std::string_view folder = "/zoneinfo/";
  const std::size_t at = file.rfind(folder);
  return at == std::string::npos ? std::nullopt : zoneNamed(file.substr(at + folder.size()));
}

}  // namespace

std::optional<When> parseWhen(std::string_view text) {
  if (text == "now") return When{};
  std::string whole(text);
  const bool hasDay = text.size() >= 10 && text[4] == '-';
  if (hasDay && text.size() == 10) whole += " 00:00";
  if (hasDay && text.size() > 10 && text[10] == 'T') whole[10] = ' ';
  if (!hasDay) whole.insert(0, "2000-01-01 ");
  const auto read = parseLocalTime(whole);
  if (!read) return std::nullopt;
  const auto day = std::chrono::floor<std::chrono::days>(*read);
  When when{std::nullopt, *read - day};
  if (hasDay) when.day = day;
  return when;
}

LocalTime onClock(const When& when, LocalTime now) {
  if (when.isNow()) return now;
  const LocalTime today = std::chrono::floor<std::chrono::days>(now);
  return when.day.value_or(today) + when.time.value_or(std::chrono::seconds(0));
}

std::chrono::sys_seconds machineTime() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

std::optional<std::string> machineTimeZone() {
  if (const char* const chosen = ::getenv("TZ")) {
    const std::string name = *chosen == ':' ? chosen + 1 : chosen;
    if (name.empty()) return std::string(utc);
    return name.front() == '/' ? zoneOfFile(name) : zoneNamed(name);
  }
  std::error_code ignored;
  if (!fs::exists(fs::symlink_status("/etc/localtime", ignored))) return std::string(utc);
  if (auto zone = zoneOfFile(fs::read_symlink("/etc/localtime", ignored))) return zone;
  if (auto zone = zoneOfFile(fs::weakly_canonical("/etc/localtime", ignored))) return zone;
  std::string name;
  std::ifstream("/etc/timezone") >> name;
  return zoneNamed(name);
}

}  // namespace home_screen
