// The exported reader of the platform's stored overrides, against real files.

#include <fstream>
#include <regex>

#include "simulator/foundation/keyed_archive.hpp"
#include "simulator/foundation/property_list.hpp"
#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using namespace simulator;
using namespace std::chrono_literals;

class StoredOverrideTest : public PhoneTest {
 protected:
  // An override archive with these periods, one interval for each.
  Owned<Data> archived(const std::vector<DailyPeriod>& periods,
                       PropertyListForm form = PropertyListForm::binary) {
    const auto override = makeOverride(periods);
    return own(makeData(archive(override.get(), form)));
  }

  void storeOverrides(id overrides, PropertyListForm form = PropertyListForm::binary) {
    const auto file = own(makeDictionary());
    if (overrides != nullptr) store(file.get(), own(makeString("overrides")).get(), overrides);
    savePropertyList(phone().bulletinBoard.overridesFile(), file.get(), form);
  }
  void storeList(const std::vector<id>& elements) {
    const auto list = own(makeArray());
    for (const id element : elements) append(list.get(), element);
    storeOverrides(list.get());
  }
  void writeFile(const std::string& bytes) {
    const auto path = phone().bulletinBoard.overridesFile();
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }
};

TEST_F(StoredOverrideTest, GivesTheFirstIntervalOfTheFirstOverride) {
  start();
  const DailyPeriod night{22h, 7h};
  const DailyPeriod noon{12h, 13h};
  for (const auto form : {PropertyListForm::binary, PropertyListForm::xml}) {
    const auto two = archived({night, noon}, form);
    const auto other = archived({noon}, form);
    const auto none = archived({}, form);
    storeList({two.get()});
    EXPECT_EQ(interval(), "22:00-07:00");
    storeList({other.get(), two.get()});
    EXPECT_EQ(interval(), "12:00-13:00") << "the file is read afresh, and only its first override";
    storeList({none.get(), two.get()});
    EXPECT_EQ(interval(), "nothing");
  }
  phone().bulletinBoard.setSchedule(DailyPeriod{21h + 5min, 6h});
  EXPECT_EQ(interval(), "21:05-06:00");
  phone().bulletinBoard.setSchedule(std::nullopt);
  EXPECT_EQ(interval(), "nothing");
  EXPECT_EQ(log(), Texts{});
}

TEST_F(StoredOverrideTest, GivesNothingWhereNoOverrideIsStored) {
  start();
  EXPECT_EQ(interval(), "nothing") << "no file";
  for (const std::string bytes : {"", "hello", "bplist00", "<plist><array/></plist>"}) {
    writeFile(bytes);
    EXPECT_EQ(interval(), "nothing") << bytes;
  }
  const auto text = own(makeString("overrides"));
  const auto number = own(makeInteger(7));
  const auto nothingArchived = own(makeData(archive(nullptr, PropertyListForm::binary)));
  const auto textArchived = own(makeData(archive(text.get(), PropertyListForm::binary)));
  for (const id notAList : {id{nullptr}, id{text.get()}, id{number.get()}}) {
    storeOverrides(notAList);
    EXPECT_EQ(interval(), "nothing");
  }
  storeList({});
  EXPECT_EQ(interval(), "nothing");
  for (const id noOverride :
       {id{text.get()}, id{number.get()}, id{nothingArchived.get()}, id{textArchived.get()}}) {
    storeList({noOverride});
    EXPECT_EQ(interval(), "nothing");
  }
}

// The platform's exception reaches the caller; what the library held on the way is released, as
// the count at the end of the test shows.
TEST_F(StoredOverrideTest, LetsThePlatformsExceptionPass) {
  start();
  const auto whole = archived({{22h, 7h}}, PropertyListForm::xml);
  const std::string xml(whole->bytes.begin(), whole->bytes.end());
  const auto replaced = [&xml](const std::string& what, const std::string& with) {
    const std::string changed = std::regex_replace(xml, std::regex(what), with);
    EXPECT_NE(changed, xml) << what;
    return changed;
  };
  const std::string uid = "<key>CF$UID</key>";
  const auto first = xml.find("<integer>", xml.find(uid)) + 9;
  const std::string outOfRange = xml.substr(0, first) + "999" + xml.substr(xml.find('<', first));
  const struct {
    const char* what;
    std::string bytes;
  } rows[] = {{"empty", ""},
              {"truncated", xml.substr(0, xml.size() / 2)},
              {"no archive", "<plist><dict/></plist>"},
              {"an unknown class", replaced("BBBehaviorOverride<", "XXBehaviorOverride<")},
              {"an index out of range", outOfRange},
              {"an interval without its keys", replaced("startMinute|endMinute", "elsewhere")},
              {"another version", replaced("100000", "99999")}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    storeList({own(makeData({row.bytes.begin(), row.bytes.end()})).get()});
    EXPECT_THROW(interval(), PlatformException);
  }
  storeList({whole.get()});
  EXPECT_EQ(interval(), "22:00-07:00");
}

}  // namespace
}  // namespace tests
