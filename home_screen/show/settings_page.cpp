#include "home_screen/show/settings_page.hpp"

#include <fmt/core.h>

#include <sstream>

#include "home_screen/session/notation.hpp"
#include "home_screen/show/terminal.hpp"

namespace home_screen {
namespace {

// Lines of words, none beyond the width unless a word alone is.
void showWords(const std::string& text, const std::string& indent) {
  constexpr std::size_t width = 78;
  std::istringstream words(printable(text));
  std::string line = indent;
  for (std::string word; words >> word;) {
    if (line != indent && columns(line) + columns(word) > width) {
      fmt::print("{}\n", toned(line, Tone::faint));
      line = indent;
    }
    line += (line == indent ? "" : " ") + word;
  }
  if (line != indent) fmt::print("{}\n", toned(line, Tone::faint));
}

void showCell(const SettingsPage::Cell& cell) {
  constexpr std::size_t valueColumn = 19;
  constexpr std::size_t switchPositions = 2;
  const std::string chosen =
      cell.chosen ? printable(cell.choices[*cell.chosen].title) : "(what is stored is no choice)";
  fmt::print("{}\n",
             withColumn("  " + printable(cell.label), valueColumn, toned(chosen, Tone::strong)));
  if (cell.choices.size() == switchPositions) return;
  std::string titles;
  for (const SettingsPage::Choice& choice : cell.choices) {
    titles += (titles.empty() ? "of " : ", ") + choice.title;
  }
  showWords(titles, std::string(valueColumn, ' '));
}

}  // namespace

void showText(const SettingsPage& page) {
  fmt::print("{}\n", printable(page.title));
  for (const SettingsPage::Section& section : page.sections) {
    fmt::print("\n");
    if (!section.label.empty()) fmt::print("{}\n", printable(section.label));
    for (const SettingsPage::Cell& cell : section.cells) showCell(cell);
    showWords(section.footer, "  ");
  }
}

}  // namespace home_screen
