// The exported matcher, against numbers that came through the address book.

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
      {"none in the book", 7, "+15551234567", "1234567", {"5551234567"}, true},
      {"only the last seven count", 7, "+15551234567", "1234567", {"4441234567"}, true},
      {"a space in the tail", 7, "555 123 4567", "23 4567", {"5551234567"}, false},
      {"a space before the tail", 7, "555 1234567", "1234567", {"5551234567"}, true},
      {"shorter than N", 7, "4567", "4567", {"5554567"}, true},
      {"an entry shorter than the tail", 7, "1234567", "1234567", {"4567"}, false},
      {"exactly N", 7, "1234567", "1234567", {"1234567"}, true},
      {"one more than N", 8, "1234567", "1234567", {"1234567"}, true},
      {"one less than N", 6, "1234567", "234567", {"9234567"}, true},
      {"the whole of a plus number", 12, "+15551234567", "+15551234567", {"15551234567"}, false},
      {"N of 0", 0, "1234567", "", {"1234567", "abc"}, false},
      {"negative N", -3, "4567", "4567", {"5554567"}, true},
      {"negative N takes the plus along", -3, "+4567", "+4567", {"5554567"}, false},
      {"least N", INT32_MIN, "4567", "4567", {"5554567"}, true},
      {"greatest N", INT32_MAX, "4567", "4567", {"5554567"}, true},
      {"an empty ID", 7, "", "", {"1234567", "abc"}, false},
      {"letters in the tail", 7, "1-800-FLOWERS", "FLOWERS", {"3569377"}, false},
      {"letters before the tail", 4, "TEL4567", "4567", {"5554567"}, true},
      {"letters in the book are dropped", 4, "4567", "4567", {"call 45 (67)"}, true},
      {"digits of another script", 7, thai, thai.c_str(), {thai, "1234567"}, false},
      {"an extension in the book", 7, "5551234567", "1234567", {"555 123 4567 ext. 89"}, false},
      {"a tail of two", 2, "+1567", "67", {"967"}, true},
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
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0],
              "HL: comparing last " + std::to_string(row.digits) + " digits of phone number");
    const std::string tail = std::string("(") + row.tail + ")";
    const std::string expected =
        row.matches ? "HL:\tfound privileged phone with destinationID suffix " + tail + ": " +
                          texts("privilegedMessageSenderPhones")->at(0)
                    : "HL:\tdid not find privileged phone with destinationID suffix " + tail;
    EXPECT_EQ(lines[1], expected);
  }
}

TEST_F(MatcherTest, NamesTheFirstOfTwoMatches) {
  startWith({"000", "91234567", "81234567"}, 7);
  debugLogging(true);
  EXPECT_TRUE(matcher("+15551234567"));
  EXPECT_EQ(log().back(),
            "HL:\tfound privileged phone with destinationID suffix (1234567): 91234567");
}

// A list may hold objects of several classes that answer to the same question.
TEST_F(MatcherTest, AsksEachEntryInTheWayOfItsOwnClass) {
  struct AnyEnding : simulator::Object {};
  [[maybe_unused]] static const auto definition =
      simulator::defineClass<AnyEnding>("AnyEnding", "NSObject")
          .method(
              "hasSuffix:", +[](AnyEnding*, SEL, id) -> BOOL { return true; });
  startWith({}, 7);
  for (const bool another : {false, true}) {
    const auto list = simulator::own(simulator::makeArray());
    append(list.get(), simulator::own(simulator::makeString("5550000000")).get());
    if (another) {
      const Class type = simulator::classNamed("AnyEnding");
      append(list.get(), simulator::own(simulator::make<AnyEnding>(type)).get());
    }
    append(list.get(), simulator::own(simulator::makeString("5551111111")).get());
    id& published = value<id>("privilegedMessageSenderPhones");
    objc_release(std::exchange(published, simulator::share(list.get()).release()));
    EXPECT_EQ(matcher("+15551234567"), another);
    EXPECT_TRUE(matcher("+15551111111"));
  }
}

TEST_F(MatcherTest, AnswersNoToAnAbsentIdWithoutALine) {
  startWith({"1234567"}, 7);
  debugLogging(true);
  EXPECT_EQ(answerAndLog(phone(), [&] { return matcher(std::nullopt); }),
            (std::pair(false, Texts{})));
}

}  // namespace
}  // namespace tests
