// The exported reader of the platform's stored overrides, against real files.

#include <fstream>

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
  Owned<Data> archived(const std::vector<DailyPeriod>& periods) {
    return archived(makeOverride(periods).get());
  }
  Owned<Data> archived(id object) { return own(makeData(archive(object))); }

  void storeOverrides(id overrides) {
    const auto file = own(makeDictionary());
    if (overrides != nullptr) store(file.get(), "overrides", overrides);
    const auto path = phone().bulletinBoard.overridesFile();
    savePropertyList(path, file.get(), PropertyListForm::binary);
  }
  void storeList(const std::vector<id>& elements) {
    const auto list = own(makeArray());
    for (const id element : elements) append(list.get(), element);
    storeOverrides(list.get());
  }
};

TEST_F(StoredOverrideTest, GivesTheFirstIntervalOfTheFirstOverride) {
  start();
  const auto two = archived({{22h, 7h}, {12h, 13h}});
  const auto other = archived({{12h, 13h}});
  const auto none = archived(std::vector<DailyPeriod>{});
  storeList({two.get()});
  EXPECT_EQ(interval(), "22:00-07:00");
  storeList({other.get(), two.get()});
  EXPECT_EQ(interval(), "12:00-13:00") << "the file is read afresh, and only its first override";
  std::ofstream(phone().bulletinBoard.overridesFile()) << "<plist><array/></plist>";
  EXPECT_EQ(interval(), "nothing") << "no dictionary";
  storeList({none.get(), two.get()});
  EXPECT_EQ(interval(), "nothing");
  EXPECT_EQ(log(), Texts{});
}

TEST_F(StoredOverrideTest, GivesNothingWhereNoOverrideIsStored) {
  start();
  EXPECT_EQ(interval(), "nothing") << "no file";
  const auto text = own(makeString("overrides"));
  const auto number = own(makeInteger(7));
  for (const id notAList : {id{nullptr}, id{text.get()}, id{number.get()}}) {
    storeOverrides(notAList);
    EXPECT_EQ(interval(), "nothing");
  }
  storeList({});
  EXPECT_EQ(interval(), "nothing");
  const auto nothingArchived = archived(id{nullptr});
  const auto textArchived = archived(text.get());
  for (const id noOverride :
       {id{text.get()}, id{number.get()}, id{nothingArchived.get()}, id{textArchived.get()}}) {
    storeList({noOverride});
    EXPECT_EQ(interval(), "nothing");
  }
}

}  // namespace
}  // namespace tests
