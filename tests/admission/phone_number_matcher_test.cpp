// The exported matcher, against numbers that came through the address book.

#include <fmt/format.h>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class MatcherTest : public PhoneTest {
 protected:
  void startWith(const Texts& numbers, std::int64_t digits) {
    set("maxNumOfDigitsToCompare", digits);
    chooseGroup({{0, "Somebody", numbers, {}}});
    restart();
  }
};

TEST_F(MatcherTest, ComparesTheTailOfTheId) {
  const std::string thai = "\u0e51\u0e52\u0e53\u0e54\u0e55\u0e56\u0e57";
  const struct {
    const char* what;
    std::int64_t digits;
    std::string sender;
    const char* tail;  // as the log shows it
    Texts numbers;
    bool matches;
  } rows[] = {
      {"a country code", 7, "+15551234567", "1234567", {"15551234567"}, true},
      {"a space in the tail", 7, "555 123 4567", "23 4567", {"5551234567"}, false},
      {"shorter than N", 7, "4567", "4567", {"5554567"}, true},
      {"one more than N", 8, "1234567", "1234567", {"1234567"}, true},
      {"one less than N", 6, "1234567", "234567", {"9234567"}, true},
      {"N of 0", 0, "1234567", "", {"1234567", "abc"}, false},
      {"negative N", -3, "4567", "4567", {"5554567"}, true},
      {"least N", INT32_MIN, "4567", "4567", {"5554567"}, true},
      {"an empty ID", 7, "", "", {"1234567", "abc"}, false},
      {"digits of another script", 7, thai, thai.c_str(), {thai, "1234567"}, false},
      {"another tail of two", 2, "+1567", "67", {"968", "7"}, false},
      {"no number at all", 7, "5551234567", "1234567", {}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    startWith(row.numbers, row.digits);
    EXPECT_EQ(answerAndLog(phone(), [&] { return matcher(row.sender); }),
              (std::pair(row.matches, Texts{})));
    debugLogging(true);
    const auto [found, lines] = answerAndLog(phone(), [&] { return matcher(row.sender); });
    const std::string tail = fmt::format("destinationID suffix ({})", row.tail);
    EXPECT_EQ(lines, (Texts{fmt::format("HL: comparing last {} digits of phone number", row.digits),
                            row.matches ? "HL:\tfound privileged phone with " + tail + ": " +
                                              texts("privilegedMessageSenderPhones")->at(0)
                                        : "HL:\tdid not find privileged phone with " + tail}));
  }
}

TEST_F(MatcherTest, NamesTheFirstOfTwoMatches) {
  startWith({"000", "91234567", "81234567"}, 7);
  debugLogging(true);
  EXPECT_TRUE(matcher("+15551234567"));
  EXPECT_EQ(log().back(),
            "HL:\tfound privileged phone with destinationID suffix (1234567): 91234567");
  EXPECT_FALSE(matcher(std::nullopt));
  EXPECT_EQ(log(), Texts{});
}

}  // namespace
}  // namespace tests
