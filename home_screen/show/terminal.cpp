#include "home_screen/show/terminal.hpp"

#include <fmt/core.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "home_screen/session/notation.hpp"

namespace home_screen {
namespace {

bool colourWanted() {
  static const bool wanted = ::isatty(STDOUT_FILENO) != 0 && ::getenv("NO_COLOR") == nullptr;
  return wanted;
}

}  // namespace

std::string toned(const std::string& text, Tone tone) {
  static constexpr const char* codes[] = {"32", "31", "2", "1"};
  if (!colourWanted()) return text;
  return fmt::format("\x1b[{}m{}\x1b[0m", codes[static_cast<int>(tone)], text);
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

void complain(const std::string& complaint) {
  std::fflush(stdout);
  fmt::print(stderr, "{}\n", printable(complaint));
}

}  // namespace home_screen
