#include "home_screen/terminal.hpp"

#include <stdlib.h>
#include <unistd.h>

namespace home_screen {
namespace {

bool colourWanted() {
  static const bool wanted = ::isatty(STDOUT_FILENO) != 0 && ::getenv("NO_COLOR") == nullptr;
  return wanted;
}

const char* code(Tone tone) {
  switch (tone) {
    case Tone::good:
      return "\x1b[32m";
    case Tone::bad:
      return "\x1b[31m";
    case Tone::faint:
      return "\x1b[2m";
    case Tone::strong:
      return "\x1b[1m";
  }
  return "";
}

}  // namespace

std::string toned(const std::string& text, Tone tone) {
  return colourWanted() ? code(tone) + text + "\x1b[0m" : text;
}

}  // namespace home_screen
