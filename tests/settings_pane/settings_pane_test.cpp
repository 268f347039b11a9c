// Both sides of the settings together: what the page of the Settings app shows and writes, and what
// the library does with it. The description, the pane's code and the library may be those of a
// built package.

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <set>

#include "home_screen/ask/settings_page.hpp"
#include "home_screen/session/session.hpp"
#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using home_screen::SettingsPage;
using Cell = SettingsPage::Cell;
using simulator::LoadedLibrary;

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

// What the pane's own code lists.
class Lists {
 public:
  explicit Lists(const std::string& pane) : pane_(pane, LoadedLibrary::Host::other) {}

  void read() const { pane_.function<void()>("HLReadGroups")(); }
  std::size_t count(const char* list) const {
    const id found = pane_.function<id()>(list)();
    return found == nullptr ? 0 : simulator::as<simulator::Array>(found)->items.size();
  }

 private:
  LoadedLibrary pane_;
  simulator::AutoreleasePool pool_;
};

class SettingsPaneTest : public PhoneTest {
 protected:
  const std::string pane = given("HUSHLANE_PANE", HUSHLANE_PANE);

  // The cells of the page, by their keys.
  std::map<std::string, Cell> open() {
    std::ifstream file(
        given("HUSHLANE_DESCRIPTION", HUSHLANE_SOURCE_DIR "/settings_pane/Root.plist"),
        std::ios::binary);
    const std::string description(std::istreambuf_iterator<char>(file), {});
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
    return with({std::to_string(integer("allowedMessageGroup")),
                 std::to_string(integer("maxNumOfDigitsToCompare"))},
                texts("daysForSuppressingScheduler").value_or(Texts{"nothing"}));
  }
};

TEST_F(SettingsPaneTest, HasACellForEachKeyThatTheLibraryReads) {
  std::set<std::string> keys;
  for (const auto& [key, cell] : open()) {
    keys.insert(key);
    EXPECT_EQ(cell.domain, simulator::settingsDomain) << key;
    const bool isWeekday = key.starts_with("schedulerWeekday_");
    EXPECT_EQ(cell.notification, std::string(simulator::settingsDomain) +
                                     (isWeekday ? ".weekdaysettingschanged" : ".reloadsettings"));
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
  const std::pair<std::string, std::int64_t> modes[] = {
      {"Everyone", -100},   {"Nobody", -200},
      {"Favourites", -300}, {"All contacts", -400},
      {"Family", family},   {"Group " + std::to_string(nameless) + ", without a name", nameless}};
  EXPECT_EQ(open().at("allowedMessageGroup").choices.size(), std::size(modes));
  for (const auto& [title, mode] : modes) {
    choose("allowedMessageGroup", title);
    EXPECT_EQ(integer("allowedMessageGroup"), mode) << title;
  }
  const Texts digits = titlesOf(open().at("maxNumOfDigitsToCompare"));
  EXPECT_EQ(digits.size(), 11u);
  for (const std::string& title : digits) {
    choose("maxNumOfDigitsToCompare", title);
    EXPECT_EQ(std::to_string(integer("maxNumOfDigitsToCompare")), title);
  }
  int number = 0;
  for (const char* const weekday :
       {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"}) {
    const std::string key = home_screen::weekdayKeys[number++];
    EXPECT_EQ(open().at(key).label, weekday);
    choose(key, "off");
    EXPECT_EQ(texts("daysForSuppressingScheduler"), Texts{std::to_string(number)});
    choose(key, "on");
  }
}

TEST_F(SettingsPaneTest, ShowsWhatIsStoredWhateverItIs) {
  using Value = simulator::PreferenceValue;
  const std::int64_t family = phone().addressBook.addGroup("Family", {});
  const struct {
    Value stored;
    bool access;
    std::string shown;
    Texts more;  // besides the fixed choices and, with access, the group
  } rows[] = {
      {std::int64_t{-300}, true, "Favourites", {}},
      {family, true, "Family", {}},
      {1.0 * static_cast<double>(family), true, "Family", {}},
      {std::to_string(family), true, "Family", {"Family"}},
      {family + 1, true, "Group 2, which is gone", {"Group 2, which is gone"}},
      {family, false, "Group 1, by a name not known now", {"Group 1, by a name not known now"}},
      {std::int64_t{-7}, true, "Nobody, as -7 is no choice", {"Nobody, as -7 is no choice"}},
  };
  EXPECT_EQ(shown("allowedMessageGroup"), "Nobody");
  for (const auto& row : rows) {
    set("allowedMessageGroup", row.stored);
    phone().addressBook.accessGranted = row.access;
    const Texts groups = row.access ? Texts{"Family"} : Texts{};
    EXPECT_EQ(titlesOf(open().at("allowedMessageGroup")),
              with(with(fixedTitles, groups), row.more));
    EXPECT_EQ(shown("allowedMessageGroup"), row.shown);
  }
}

// The user may be asked for access first, and a large book may be slow.
TEST_F(SettingsPaneTest, WaitsTwoSecondsForTheAddressBookWhoseAnswerMayComeLater) {
  phone().addressBook.addGroup("Family", {});
  const Lists lists(pane);
  std::mutex holding;
  std::unique_lock held(holding);
  phone().queue.async([&holding] { const std::lock_guard wait(holding); });
  const auto before = std::chrono::steady_clock::now();
  lists.read();
  const auto taken = std::chrono::steady_clock::now() - before;
  EXPECT_TRUE(taken > std::chrono::milliseconds(1900) && taken < std::chrono::seconds(10));
  held.unlock();
  phone().queue.drain();
  EXPECT_EQ(lists.count("HLGroupTitles"), fixedTitles.size());
  lists.read();
  EXPECT_EQ(lists.count("HLGroupTitles"), fixedTitles.size() + 1);
}

// The app shows a value and a title in each row of the list.
TEST_F(SettingsPaneTest, HasATitleForEachValueWhateverFails) {
  phone().addressBook.addGroup("Family", {});
  phone().addressBook.addGroup("", {});
  set("allowedMessageGroup", std::int64_t{7});
  std::uint64_t failures = 0;
  for (const auto& row : simulator::faultTable()) {
    for (std::uint64_t call = 1, injected = 1; injected > 0; ++call) {
      const Lists lists(pane);
      simulator::failAt(row.fault, call);
      lists.read();
      EXPECT_EQ(lists.count("HLGroupValues"), lists.count("HLGroupTitles"))
          << row.operation << " failed at call " << call;
      failures += injected = simulator::injectedFailures();
      simulator::resetFaults();
    }
  }
  EXPECT_GT(failures, 50u);
}

TEST_F(SettingsPaneTest, AGroupChosenByNameGetsThrough) {
  const auto person = [&](const char* name, const char* number) {
    return phone().addressBook.addPerson(name, {number}, {});
  };
  phone().addressBook.addGroup("Family", {person("Mara", "+1 (555) 010-0142")});
  phone().addressBook.addGroup("Clinic", {person("Ines", "+1 (555) 010-0163")});
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
