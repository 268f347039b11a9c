// Settings loads: from real property lists, at start-up and on notifications.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class LoadSettingsTest : public PhoneTest {};

TEST_F(LoadSettingsTest, ReadsIntegersAsThePlatformDoes) {
  const struct {
    const char* what;
    simulator::PreferenceValue stored;
    std::int64_t read;
  } rows[] = {
      {"a negative one", std::int64_t{-300}, -300},
      {"more than 32 bits keep the low ones", std::int64_t{0x100000005}, 5},
      {"a fraction is cut toward zero", 7.9, 7},
      {"true", true, 1},
      {"a string with space, sign and tail", std::string(" \t-12abc"), -12},
      {"a plus sign", std::string("+9"), 9},
      {"a string without digits", std::string("abc"), 0},
      {"an empty string", std::string(), 0},
      {"a string above the limit", std::string("99999999999"), INT32_MAX},
      {"a string below the limit", std::string("-99999999999"), INT32_MIN},
      {"digits after a letter", std::string("x7"), 0},
  };
  set("unrelated", true);
  start();
  const char* name = "weekdaysettingschanged";  // both names have the same effect
  const char* other = "reloadsettings";
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    set("allowedMessageGroup", row.stored);
    set("maxNumOfDigitsToCompare", row.stored);
    phone().post(std::string("org.mernwick.hushlane.") + name);
    std::swap(name, other);
    EXPECT_EQ(integer("allowedMessageGroup"), row.read);
    EXPECT_EQ(integer("maxNumOfDigitsToCompare"), row.read);
  }
}

TEST_F(LoadSettingsTest, ListsTheWeekdaysWhoseKeysReadAsFalse) {
  using namespace std::string_literals;
  constexpr std::int64_t zero = 0;
  const std::vector<simulator::PreferenceValue> off = {false, zero,  0.0, "no"s,
                                                       "0"s,  "+0"s, ""s, "x1"s};
  const std::vector<simulator::PreferenceValue> on = {true, zero + 1, zero - 5, 0.5,  "YES"s,
                                                      "y"s, "True"s,  "t"s,     "1"s, " -09"s};
  start();
  for (const bool suppressed : {true, false}) {
    for (const auto& stored : suppressed ? off : on) {
      for (const char day : "714326508"s) set("schedulerWeekday_"s + day, stored);
      reload();
      EXPECT_EQ(texts("daysForSuppressingScheduler"),
                suppressed ? (Texts{"1", "2", "3", "4", "5", "6", "7"}) : Texts{});
    }
  }
}

// Whoever asks while the new list is being built gets the old one.
TEST_F(LoadSettingsTest, PublishesTheWeekdaysOnceAllOfThemAreRead) {
  set("schedulerWeekday_5", false);
  start();
  set("schedulerWeekday_3", false);
  const auto look = [&] { EXPECT_EQ(texts("daysForSuppressingScheduler"), Texts{"5"}); };
  EXPECT_GE(reloadWatching(simulator::Fault::objectForKey, look), 7);
  EXPECT_EQ(texts("daysForSuppressingScheduler"), (Texts{"3", "5"}));
}

TEST_F(LoadSettingsTest, LetsTheLastDictionaryGoWhenTheValuesCannotBeCopied) {
  set("allowedMessageGroup", std::int64_t{-100});
  start();
  const auto dictionaries = [] { return simulator::liveObjectsByClass()["NSDictionary"]; };
  const std::int64_t before = dictionaries();
  debugLogging(true);
  simulator::failAt(simulator::Fault::CFPreferencesCopyMultiple, 1);
  reload();
  EXPECT_TRUE(boolean("enableDebugLogging"));
  EXPECT_EQ(dictionaries(), before - 1);
}

// A load switches the debug log off before it would print the settings; somebody who switches it
// on again meanwhile gets to see them.
TEST_F(LoadSettingsTest, PrintsTheSettingsWhenTheDebugLogIsOnAtTheEnd) {
  const std::int64_t group = chooseGroup({{0, "Anna", {"5-55"}, {"a@b", "c@d"}}});
  set("schedulerWeekday_1", false);
  set("schedulerWeekday_7", false);
  start();
  debugLogging(true);
  reload();
  EXPECT_EQ(log(), Texts{"HL: (re)loading settings"});
  EXPECT_FALSE(boolean("enableDebugLogging"));
  simulator::callBefore(simulator::Fault::ABAddressBookCreateWithOptions,
                        [&] { debugLogging(true); });
  reload();
  const std::int64_t person = phone().addressBook.people().at(0).id;
  EXPECT_EQ(log(), Texts{"HL: settings are:\r\nallowedMessageGroup=" + std::to_string(group) +
                         "\r\nlist of person IDs in the group: (\n    " + std::to_string(person) +
                         "\n)\r\nsuppressed days for scheduler: (\n    1,\n    7\n)\r\n"
                         "list of person phones: (\n    555\n), "
                         "list of person emails: (\n    \"a@b\",\n    \"c@d\"\n)"});
}

}  // namespace
}  // namespace tests
