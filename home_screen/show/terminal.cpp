#include "home_screen/show/terminal.hpp"

#include <fmt/core.h>
#include <locale.h>
#include <stdlib.h>
#include <unistd.h>
#include <utf8.h>
#include <wchar.h>

#include <cstdio>
#include <new>

#include "home_screen/session/notation.hpp"

namespace home_screen {
namespace {

Colour chosenColour = Colour::automatic;

bool isDumb() {
  const char* const terminal = ::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) == "dumb";
}

bool colourWanted() {
  static const bool suits =
      ::isatty(STDOUT_FILENO) != 0 && !isDumb() && ::getenv("NO_COLOR") == nullptr;
  return chosenColour == Colour::always || (chosenColour == Colour::automatic && suits);
}

}  // namespace

void chooseColour(Colour choice) { chosenColour = choice; }

std::string toned(const std::string& text, Tone tone) {
  static constexpr const char* codes[] = {"32", "31", "2", "1"};
  if (!colourWanted()) return text;
  return fmt::format("\x1b[{}m{}\x1b[0m", codes[static_cast<int>(tone)], text);
}

std::size_t columns(std::string_view text) {
  if (!utf8::is_valid(text)) return text.size();
  static const locale_t inUtf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = ::uselocale(inUtf8);
  std::size_t sum = 0;
  for (auto at = text.begin(); at != text.end();) {
    const int width = ::wcwidth(static_cast<wchar_t>(utf8::unchecked::next(at)));
    sum += width < 0 ? 1 : static_cast<std::size_t>(width);  // one for what it does not know
  }
  ::uselocale(before);
  return sum;
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

void ProgressLine::show(const Progress& progress) {
  static const bool wanted = ::isatty(STDERR_FILENO) != 0 && !isDumb();
  if (!wanted) return;
  const auto now = Clock::now();
  if (progress.total == 0) return wipe();
  if (!start_) {
    start_ = now;
    next_ = now + std::chrono::seconds(1);
  }
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  shown_ = true;
  const double share = static_cast<double>(progress.done) / static_cast<double>(progress.total);
  const auto taken = std::chrono::duration<double>(now - *start_);
  std::string line = fmt::format("\r\x1b[K{} of {} {} ({:.0f} %)", progress.done, progress.total,
                                 progress.what, 100 * share);
  if (share > 0) line += fmt::format(", {:.0f} s left", taken.count() * (1 / share - 1));
  // A terminal that is gone is no reason to give up the answer.
  std::fputs(line.c_str(), stderr);
  std::fflush(stderr);
}

void ProgressLine::wipe() {
  if (shown_) std::fputs("\r\x1b[K", stderr);
  shown_ = false;
  start_.reset();
}

void complain(const std::string& complaint) noexcept {
  std::fflush(stdout);
  try {
    std::fputs((printable(complaint) + '\n').c_str(), stderr);
  } catch (const std::bad_alloc&) {
    std::fputs("out of memory\n", stderr);
  }
}

}  // namespace home_screen
