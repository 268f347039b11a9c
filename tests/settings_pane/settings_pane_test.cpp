// Both sides of the settings together: what the page of the Settings app shows and writes, and what
// the library does with it. The description, the pane's code and the library may be those of a
// built package.

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <thread>

#include "home_screen/ask/settings_page.hpp"
#include "home_screen/session/session.hpp"
#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using home_screen::SettingsPage;
using Cell = SettingsPage::Cell;
using simulator::Fault;

const Texts fixedTitles = {"Everyone", "Nobody", "Favourites", "All contacts"};

std::string given(const char* variable, const char* otherwise) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : otherwise;
}

Texts titlesOf(const Cell& cell) {
  Texts titles;
  for (const SettingsPage::Choice& choice : cell.choices) titles.push_back(choice.title);
  return titles;
}

Texts with(Texts texts, const Texts& more) {
  texts.insert(texts.end(), more.begin(), more.end());
  return texts;
}

class SettingsPaneTest : public PhoneTest {
 protected:
  const std::string pane = given("HUSHLANE_PANE", HUSHLANE_PANE);
  std::ifstream file{
      given("HUSHLANE_DESCRIPTION", HUSHLANE_SOURCE_DIR "/settings_pane/Root.plist")};
  const std::string description{std::istreambuf_iterator<char>(file), {}};

  // The cells of the page, by their keys.
  std::map<std::string, Cell> open() {
    std::map<std::string, Cell> cells;
    for (const auto& section : home_screen::openSettingsPage(phone(), pane, description).sections) {
      for (const Cell& cell : section.cells) {
        EXPECT_TRUE(cells.emplace(cell.key, cell).second) << cell.key << " has two cells";
      }
    }
    return cells;
  }

  // As the app does it, value and notification.
  void write(const Cell& cell, const simulator::Owned<simulator::Object>& value) {
    phone().preferences.set(cell.domain, cell.key, value.get());
    phone().post(cell.notification);
  }
  void choose(const std::string& key, const std::string& title) {
    const Cell cell = open().at(key);
    for (const auto& [value, name] : cell.choices) {
      if (name == title) return write(cell, value);
    }
    ADD_FAILURE() << key << " has no choice " << title;
  }
  std::string shown(const std::string& key) {
    const Cell cell = open().at(key);
    return cell.chosen ? cell.choices.at(*cell.chosen).title : "";
  }

  // What the library has taken from the settings.
  Texts effects() {
    const auto text = [this](const char* name) { return std::to_string(integer(name)); };
    return with({text("allowedMessageGroup"), text("maxNumOfDigitsToCompare")},
                texts("daysForSuppressingScheduler").value());
  }
};

TEST_F(SettingsPaneTest, HasACellForEachKeyThatTheLibraryReads) {
  std::set<std::string> keys;
  for (const auto& [key, cell] : open()) {
    keys.insert(key);
    EXPECT_EQ(cell.domain, simulator::settingsDomain) << key;
    EXPECT_EQ(cell.notification, key.starts_with("schedulerWeekday_")
                                     ? "org.mernwick.hushlane.weekdaysettingschanged"
                                     : "org.mernwick.hushlane.reloadsettings");
  }
  EXPECT_EQ(keys, std::set<std::string>(std::begin(home_screen::settingsKeys),
                                        std::end(home_screen::settingsKeys)));
}

TEST_F(SettingsPaneTest, EachDefaultIsWhatTheLibraryDoesWithoutTheKeyAndEachChoiceDoesAnother) {
  phone().addressBook.addGroup("Family", {});
  start();
  for (const auto& [key, cell] : open()) {
    phone().preferences.clear(simulator::settingsDomain);
    set("another", true);
    reload();
    const Texts without = effects();
    write(cell, cell.byDefault);
    EXPECT_EQ(effects(), without) << key;
    std::set<Texts> all;
    for (const auto& [value, title] : cell.choices) {
      write(cell, value);
      all.insert(effects());
      EXPECT_EQ(shown(key), title);
    }
    EXPECT_EQ(all.size(), cell.choices.size()) << key;
    EXPECT_TRUE(all.contains(without)) << key;
  }
}

TEST_F(SettingsPaneTest, EachChoiceGivesWhatItsTitlePromises) {
  const std::int64_t family = phone().addressBook.addGroup("Family", {});
  const std::int64_t nameless = phone().addressBook.addGroup("", {});
  start();
  const std::map<std::string, std::int64_t> modes = {
      {"Everyone", -100},   {"Nobody", -200},
      {"Favourites", -300}, {"All contacts", -400},
      {"Family", family},   {"Group " + std::to_string(nameless) + ", without a name", nameless}};
  EXPECT_EQ(open().at("allowedMessageGroup").choices.size(), modes.size());
  for (const auto& [title, mode] : modes) {
    choose("allowedMessageGroup", title);
    EXPECT_EQ(integer("allowedMessageGroup"), mode) << title;
  }
  EXPECT_EQ(open().at("maxNumOfDigitsToCompare").choices.size(), 11u);
  for (std::int64_t digits = 5; digits <= 15; ++digits) {
    choose("maxNumOfDigitsToCompare", std::to_string(digits));
    EXPECT_EQ(integer("maxNumOfDigitsToCompare"), digits);
  }
  const Texts weekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                          "Thursday", "Friday", "Saturday"};
  for (std::size_t i = 0; i < weekdays.size(); ++i) {
    const std::string key = home_screen::weekdayKeys[i];
    EXPECT_EQ(open().at(key).label, weekdays[i]);
    choose(key, "off");
    EXPECT_EQ(texts("daysForSuppressingScheduler"), Texts{std::to_string(i + 1)});
    choose(key, "on");
  }
}

TEST_F(SettingsPaneTest, ShowsWhatIsStoredWhateverItIs) {
  const char* const unknown = "Group 1, by a name not known now";
  const std::int64_t family = phone().addressBook.addGroup("Family", {});
  const struct {
    simulator::PreferenceValue stored;
    std::string shown;
    bool more;  // besides the fixed choices and the groups
    std::optional<Fault> fault;
  } rows[] = {
      {std::int64_t{-300}, "Favourites", false, {}},
      {family, "Family", false, {}},
      {1.0 * static_cast<double>(family), "Family", false, {}},
      {std::to_string(family), "Family", true, {}},
      {family + 1, "Group 2, which is gone", true, {}},
      {family, unknown, true, Fault::ABAddressBookCreateWithOptions},
      {family, unknown, true, Fault::ABAddressBookRequestAccessWithCompletion},
      {family, unknown, true, Fault::ABAddressBookCopyArrayOfAllGroups},
      {std::int64_t{-7}, "Nobody, as -7 is no choice", true, {}},
  };
  EXPECT_EQ(shown("allowedMessageGroup"), "Nobody");
  for (const auto& row : rows) {
    set("allowedMessageGroup", row.stored);
    if (row.fault) simulator::failAt(*row.fault, 1, true);
    const Texts fixedAndGroups = with(fixedTitles, row.fault ? Texts{} : Texts{"Family"});
    EXPECT_EQ(titlesOf(open().at("allowedMessageGroup")),
              with(fixedAndGroups, row.more ? Texts{row.shown} : Texts{}));
    EXPECT_EQ(shown("allowedMessageGroup"), row.shown);
    simulator::resetFaults();
  }
}

// The user may be asked for access first, and a large book may be slow.
TEST_F(SettingsPaneTest, WaitsTwoSecondsForTheAddressBookWhoseAnswerMayComeLater) {
  phone().addressBook.addGroup("Family", {});
  for (const int seconds : {1, 3, 0}) {
    phone().queue.async([=] { std::this_thread::sleep_for(std::chrono::seconds(seconds)); });
    EXPECT_EQ(titlesOf(open().at("allowedMessageGroup")),
              with(fixedTitles, seconds < 2 ? Texts{"Family"} : Texts{}));
  }
}

// The app shows a value and a title in each row of the list.
TEST_F(SettingsPaneTest, HasATitleForEachValueWhateverFails) {
  phone().addressBook.addGroup("Family", {});
  phone().addressBook.addGroup("", {});
  set("allowedMessageGroup", std::int64_t{7});
  std::uint64_t failures = 0;
  for (const auto& row : simulator::faultTable()) {
    for (std::uint64_t call = 1, injected = 1; injected > 0; ++call) {
      simulator::failAt(row.fault, call);
      EXPECT_NO_THROW(open()) << row.operation << " failed at call " << call;
      failures += injected = simulator::injectedFailures();
      simulator::resetFaults();
    }
  }
  EXPECT_GT(failures, 50u);
}

TEST_F(SettingsPaneTest, KeepsNothingOfAnEarlierReading) {
  const simulator::LoadedLibrary loaded(pane, simulator::LoadedLibrary::Host::other);
  const simulator::AutoreleasePool pool;
  for (int reading = 0; reading < 2; ++reading) loaded.function<void()>("hlReadGroups")();
}

TEST_F(SettingsPaneTest, AGroupChosenByNameGetsThrough) {
  simulator::AddressBookStore& book = phone().addressBook;
  book.addGroup("Family", {book.addPerson("Mara", {"+1 (555) 010-0142"}, {})});
  book.addGroup("Clinic", {book.addPerson("Ines", {"+1 (555) 010-0163"}, {})});
  start();
  dnd(true);
  for (const bool family : {true, false}) {
    choose("allowedMessageGroup", family ? "Family" : "Clinic");
    EXPECT_EQ(message("+15550100142"), family);
    EXPECT_EQ(message("+15550100163"), !family);
  }
  for (const bool few : {true, false}) {
    choose("maxNumOfDigitsToCompare", few ? "5" : "15");
    EXPECT_EQ(message("+445550100163"), few);
  }
}

}  // namespace
}  // namespace tests
