// Settings loads: from real property lists, at start-up and on notifications.

#include <fstream>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class LoadSettingsTest : public PhoneTest {
 protected:
  void writePreferences(const std::string& bytes) {
    const auto file = phone().preferences.file(simulator::settingsDomain);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
};

TEST_F(LoadSettingsTest, ReadsIntegersAsThePlatformDoes) {
  const struct {
    const char* what;
    simulator::PreferenceValue stored;
    std::int64_t read;
  } rows[] = {
      {"an integer", std::int64_t{12}, 12},
      {"a negative one", std::int64_t{-300}, -300},
      {"zero", std::int64_t{0}, 0},
      {"more than 32 bits keep the low ones", std::int64_t{0x100000005}, 5},
      {"a fraction is cut toward zero", 7.9, 7},
      {"a negative fraction too", -7.9, -7},
      {"true", true, 1},
      {"false", false, 0},
      {"a string of digits", std::string("12"), 12},
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

TEST_F(LoadSettingsTest, SuppressesAWeekdayOnlyWhenItsKeyReadsAsFalse) {
  using namespace std::string_literals;
  constexpr std::int64_t zero = 0;
  const std::vector<simulator::PreferenceValue> off = {false, zero,  0.0, "no"s,
                                                       "0"s,  "+0"s, ""s, "x1"s};
  const std::vector<simulator::PreferenceValue> on = {true, zero + 1, zero - 5, 0.5,  "YES"s,
                                                      "y"s, "True"s,  "t"s,     "1"s, " -09"s};
  start();
  for (const bool suppressed : {true, false}) {
    for (const auto& stored : suppressed ? off : on) {
      set("schedulerWeekday_2", stored);
      reload();
      EXPECT_EQ(texts("daysForSuppressingScheduler"), suppressed ? Texts{"2"} : Texts{});
    }
  }
}

TEST_F(LoadSettingsTest, ListsTheSuppressedWeekdaysInOrder) {
  start();
  for (const bool running : {true, false}) {
    for (const char* key : {"schedulerWeekday_7", "schedulerWeekday_1", "schedulerWeekday_3",
                            "schedulerWeekday_4", "schedulerWeekday_2", "schedulerWeekday_6",
                            "schedulerWeekday_5", "schedulerWeekday_0", "schedulerWeekday_8"}) {
      set(key, running);
    }
    reload();
    EXPECT_EQ(texts("daysForSuppressingScheduler"),
              running ? Texts{} : (Texts{"1", "2", "3", "4", "5", "6", "7"}));
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

// A domain that gives no keys leaves everything as it was; so do values that can't be copied.
TEST_F(LoadSettingsTest, KeepsTheLastSettingsWhenTheDomainCannotBeRead) {
  const std::string header = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
  std::string nested = header;
  for (int i = 0; i < 100'000; ++i) nested += "<array>";
  const struct {
    const char* what;
    std::string file;
  } rows[] = {{"empty", ""},
              {"no property list", "hello"},
              {"a truncated one", header + "<dict><key>allowedMessageGroup</key><integer>"},
              {"a truncated binary one", std::string("bplist00\xd1\x01\x02", 11)},
              {"a list", header + "<array><integer>1</integer></array></plist>"},
              {"no keys", header + "<dict></dict></plist>"},
              {"nested without end", nested}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    writePreferences(row.file);
    restart();
    EXPECT_EQ(startLog, (Texts{"HL: starting...", "HL: unable to get preferences"}));
    EXPECT_EQ(integer("allowedMessageGroup"), 0);
    EXPECT_EQ(object("daysForSuppressingScheduler"), nullptr);

    std::filesystem::remove(phone().preferences.file(simulator::settingsDomain));
    chooseGroup({{0, "Anna", {"555"}, {"a@b"}}});
    set("schedulerWeekday_3", false);
    reload();
    const std::int64_t chosen = integer("allowedMessageGroup");
    EXPECT_GE(chosen, 1);
    log();
    writePreferences(row.file);
    reload();
    EXPECT_EQ(log(), Texts{"HL: unable to get preferences"});
    EXPECT_EQ(integer("allowedMessageGroup"), chosen);
    EXPECT_EQ(texts("privilegedMessageSenderPhones"), Texts{"555"});
    EXPECT_EQ(texts("daysForSuppressingScheduler"), Texts{"3"});
  }
}

TEST_F(LoadSettingsTest, LetsTheLastDictionaryGoWhenTheValuesCannotBeCopied) {
  set("allowedMessageGroup", std::int64_t{-100});
  start();
  const auto dictionaries = [] { return simulator::liveObjectsByClass()["NSDictionary"]; };
  const std::int64_t before = dictionaries();
  debugLogging(true);
  simulator::failAt(simulator::Fault::CFPreferencesCopyMultiple, 1);
  reload();
  EXPECT_EQ(log(), (Texts{"HL: (re)loading settings", "HL: preferences dictionary error"}));
  EXPECT_TRUE(boolean("enableDebugLogging"));
  EXPECT_EQ(dictionaries(), before - 1);
}

// A load switches the debug log off before it would print the settings; somebody who switches it
// on again meanwhile gets to see them.
TEST_F(LoadSettingsTest, PrintsTheSettingsWhenTheDebugLogIsOnAtTheEnd) {
  const std::int32_t group = chooseGroup({{0, "Anna", {"5-55"}, {"a@b", "c@d"}}});
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
  const std::int32_t person = phone().addressBook.people().at(0).id;
  EXPECT_EQ(log(), Texts{"HL: settings are:\r\nallowedMessageGroup=" + std::to_string(group) +
                         "\r\nlist of person IDs in the group: (\n    " + std::to_string(person) +
                         "\n)\r\nsuppressed days for scheduler: (\n    1,\n    7\n)\r\n"
                         "list of person phones: (\n    555\n), "
                         "list of person emails: (\n    \"a@b\",\n    \"c@d\"\n)"});
}

}  // namespace
}  // namespace tests
