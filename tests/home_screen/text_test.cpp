// Text from a phone's files, as it comes onto a terminal.

#include <gtest/gtest.h>

#include "home_screen/session/notation.hpp"
#include "home_screen/session/progress.hpp"
#include "home_screen/show/terminal.hpp"

namespace home_screen {
namespace {

TEST(TextTest, SteersNothingAndTakesTheColumnsThatItShows) {
  const struct {
    std::string text;
    std::string shown;
    std::size_t columns;
  } rows[] = {
      {"Mara", "Mara", 4},
      {"\t\r\n\x1b[2J\x7f", "\\t\\r\\n\\x1b[2J\\x7f", 17},
      {"\xc2\x9b"
       "31m",
       "\\u009b31m", 9},
      {"a\u202eb\u2066c\u200bd\ufeff", "a\\u202eb\\u2066c\\u200bd\\ufeff", 28},
      {"\U000e0041\u2028", "\\U000e0041\\u2028", 16},
      {"\xff\xc3", "\\xff\\xc3", 8},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80", 12},
      {"\xe5\x90", "\\xe5\\x90", 8},
      {"名前", "名前", 4},
      {"e\u0301", "e\u0301", 1},
      {"\u00e9", "\u00e9", 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(printable(row.text), row.shown);
    EXPECT_EQ(columns(row.shown), row.columns) << row.shown;
  }
  EXPECT_EQ(padded("名前", 6) + "|", "名前  |");
}

TEST(TextTest, ProgressIsToldBeforeEachStepAndEndsAlsoWhenTheWorkIsGivenUp) {
  std::string told;
  const ShowProgress show = [&](const Progress& progress) {
    told += std::to_string(progress.done) + "/" + std::to_string(progress.total) + " ";
  };
  try {
    Steps steps(show, "people", 3);
    steps.next();
    steps.next();
    throw 0;
  } catch (int) {
    EXPECT_EQ(told, "0/3 1/3 2/0 ");
  }
}

}  // namespace
}  // namespace home_screen
