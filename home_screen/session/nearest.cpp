#include "home_screen/session/nearest.hpp"

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <vector>

namespace home_screen {
namespace {

char small(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool alike(char one, char other) { return small(one) == small(other); }

// How many slips make one word of the other.
std::size_t slipsBetween(std::string_view one, std::string_view other) {
  // Between the first letters of `one` (so many as the row says) and those of `other`.
  std::vector<std::vector<std::size_t>> slips(one.size() + 1,
                                              std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) {
    for (std::size_t j = 0; j <= other.size(); ++j) {
      if (i == 0 || j == 0) {
        slips[i][j] = i + j;
        continue;
      }
      const std::size_t another = slips[i - 1][j - 1] + (alike(one[i - 1], other[j - 1]) ? 0 : 1);
      slips[i][j] = std::min({slips[i - 1][j] + 1, slips[i][j - 1] + 1, another});
      if (i > 1 && j > 1 && alike(one[i - 1], other[j - 2]) && alike(one[i - 2], other[j - 1])) {
        slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
      }
    }
  }
  return slips[one.size()][other.size()];
}

// Of words that are as near: schedulerWeekday_8 is rather 7 than 1.
int gapBetween(std::string_view one, std::string_view other) {
  const auto [left, right] = std::ranges::mismatch(one, other);
  return left == one.end() || right == other.end() ? 0 : std::abs(*left - *right);
}

}  // namespace

std::optional<std::string> nearestOf(const Lines& known, std::string_view typed) {
  constexpr std::size_t longest = 64;  // no word that is known has more letters
  constexpr std::size_t fewestToBegin = 2;
  if (typed.size() > longest) return std::nullopt;
  std::optional<std::tuple<std::size_t, int, std::string>> best;
  for (const std::string& word : known) {
    const bool begins = typed.size() >= fewestToBegin && word.starts_with(typed);
    const std::size_t slips = begins ? 1 : slipsBetween(typed, word);
    if (slips > std::max<std::size_t>(1, std::max(typed.size(), word.size()) / 3)) continue;
    std::tuple candidate(slips, gapBetween(typed, word), word);
    if (!best || candidate < *best) best = std::move(candidate);
  }
  if (!best) return std::nullopt;
  return std::get<std::string>(*best);
}

std::string didYouMean(std::string_view typed, const Lines& known) {
  const auto nearest = nearestOf(known, typed);
  return nearest ? "; did you mean " + *nearest + "?" : "";
}

std::string didYouMeanOneOf(std::string_view typed, const Lines& known) {
  std::string hint = didYouMean(typed, known);
  if (!hint.empty() || known.empty()) return hint;
  hint = "; expected ";
  for (std::size_t i = 0; i < known.size(); ++i) {
    if (i > 0) hint += i + 1 == known.size() ? " or " : ", ";
    hint += known[i];
  }
  return hint;
}

}  // namespace home_screen
