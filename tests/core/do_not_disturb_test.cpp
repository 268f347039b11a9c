// What the library learns from the settings gateway, and the initializers that it hands through.

#include <tuple>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class DoNotDisturbTest : public PhoneTest {};

TEST_F(DoNotDisturbTest, FollowsTheLow32BitsOfEveryReport) {
  const struct {
    std::uint64_t types;
    bool active;
  } rows[] = {{1, true},           {1, true},
              {0, false},          {0, false},
              {2, true},           {0x100000000, false},
              {0x80000000, true},  {0xffffffff00000000, false},
              {0x100000001, true}, {0, false}};
  start();
  for (const std::optional<std::uint64_t> source :
       {std::optional<std::uint64_t>(), std::optional<std::uint64_t>(0),
        std::optional<std::uint64_t>(~std::uint64_t{0})}) {
    for (const auto& row : rows) {
      phone().bulletinBoard.reportOverrideTypes(row.types, source);
      EXPECT_EQ(boolean("isDNDActive"), row.active) << row.types;
      EXPECT_EQ(log(), Texts{std::string("HL: DnD state changed to ") + (row.active ? "y" : "n")});
      EXPECT_EQ(phone().bulletinBoard.activeOverrideTypes, row.types) << "passed on whole";
      EXPECT_EQ(phone().bulletinBoard.lastSource, source);
    }
  }
}

// What the gateway sets off while it handles a change still sees the state before.
TEST_F(DoNotDisturbTest, RecordsAChangeAfterTheGatewayHasHandledIt) {
  start();
  std::vector<bool> seen;
  phone().bulletinBoard.whenGatewayLearns = [&] { seen.push_back(boolean("isDNDActive")); };
  dnd(true);
  dnd(false);
  phone().bulletinBoard.reportOverrideTypes(1, std::nullopt);
  EXPECT_EQ(seen, (std::vector<bool>{false, true, false}));
  phone().bulletinBoard.whenGatewayLearns = nullptr;
}

// The allocated object, the selector, the override type, the mode and the intervals.
using Initialization = std::tuple<id, std::string, std::int64_t, std::int64_t, id>;
std::vector<Initialization> initializations;
id initialized;

id initialize(id allocated, SEL selector, std::int64_t type, std::int64_t mode, id intervals) {
  initializations.emplace_back(allocated, selector->name, type, mode, intervals);
  return initialized;
}

id initializeWithoutMode(id allocated, SEL selector, id intervals, std::int64_t type) {
  return initialize(allocated, selector, type, 0, intervals);
}

// Another object than the allocated one may come back, or none.
TEST_F(DoNotDisturbTest, HandsTheInitializersOfAnOverrideThrough) {
  const auto allocated = simulator::makeOverride({});
  const auto other = simulator::makeOverride({});
  const auto intervals = simulator::own(simulator::makeArray());
  const id made = allocated.get();
  const id items = intervals.get();
  const char* const withMode = "initWithOverrideType:mode:effectiveIntervals:";
  const char* const withoutMode = "initWithEffectiveIntervals:overrideType:";
  constexpr std::int64_t type = 0x123456789a;
  constexpr std::int64_t mode = -0x123456789b;
  substitute("BBBehaviorOverride", withMode, &initialize);
  substitute("BBBehaviorOverride", withoutMode, &initializeWithoutMode);
  start();
  for (const id result : {id{other.get()}, id{nullptr}}) {
    initialized = result;
    initializations.clear();
    EXPECT_EQ(simulator::message(made, withMode, type, mode, items), result);
    EXPECT_EQ(simulator::message(made, withoutMode, items, type), result);
    EXPECT_EQ(initializations, (std::vector{Initialization(made, withMode, type, mode, items),
                                            Initialization(made, withoutMode, type, 0, items)}));
  }
  EXPECT_EQ(log(), Texts{});
}

}  // namespace
}  // namespace tests
