#include "home_screen/history.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <system_error>

#include "home_screen/session/whole_file.hpp"

namespace home_screen {
namespace {

namespace fs = std::filesystem;

constexpr std::ptrdiff_t mostLines = 1000;

// "" when there is none; a relative path is not one.
fs::path directoryFrom(const char* variable) {
  const char* const value = ::getenv(variable);
  const fs::path path = value == nullptr ? "" : value;
  return path.is_absolute() ? path : fs::path();
}

fs::path stateDirectory() {
  fs::path state = directoryFrom("XDG_STATE_HOME");
  if (!state.empty()) return state;
  const fs::path home = directoryFrom("HOME");
  return home.empty() ? home : home / ".local/state";
}

}  // namespace

History::History() {
  const fs::path state = stateDirectory();
  if (state.empty()) return;
  std::error_code problem;
  fs::create_directories(state / "hushlane", problem);
  if (!problem) file_ = state / "hushlane/history";
}

Lines History::lines() const try {
  Lines lines;
  std::ifstream stream(file_);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  if (std::ssize(lines) <= mostLines) return lines;
  const bool cut = std::ssize(lines) > 2 * mostLines;
  lines.erase(lines.begin(), lines.end() - mostLines);
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  if (cut) replaceFile(file_, text);
  return lines;
} catch (const std::runtime_error&) {
  return {};
}

void History::add(const std::string& line) const {
  const int file = ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0) return;
  const std::string text = line + '\n';
  [[maybe_unused]] const auto written = ::write(file, text.data(), text.size());
  ::close(file);
}

}  // namespace home_screen
