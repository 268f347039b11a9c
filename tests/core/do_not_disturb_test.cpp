// What the library learns from the settings gateway, and the initializers that it hands through.

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

TEST_F(DoNotDisturbTest, DoesNotAskForTheStateAtStartUp) {
  dnd(true);
  start();
  EXPECT_FALSE(boolean("isDNDActive"));
  reload();
  EXPECT_FALSE(boolean("isDNDActive"));
}

TEST_F(DoNotDisturbTest, HandsTheInitializersOfAnOverrideThrough) {
  start();
  const simulator::AutoreleasePool pool;
  const auto intervals = simulator::own(simulator::makeArray());
  const id items = intervals.get();
  const Class type = simulator::classNamed("BBBehaviorOverride");
  constexpr std::int64_t overrideType = 0x123456789a;
  constexpr std::int64_t mode = -0x123456789b;
  const auto withMode = simulator::own(simulator::header(simulator::message(
      simulator::message(type, "alloc"),
      "initWithOverrideType:mode:effectiveIntervals:", overrideType, mode, items)));
  const auto withoutMode = simulator::own(simulator::header(
      simulator::message(simulator::message(type, "alloc"),
                         "initWithEffectiveIntervals:overrideType:", items, overrideType)));
  for (const auto& made : {withMode, withoutMode}) {
    EXPECT_EQ(simulator::message<std::int64_t>(made.get(), "overrideType"), overrideType);
    EXPECT_EQ(simulator::message(made.get(), "effectiveIntervals"), items);
  }
  EXPECT_EQ(simulator::message<std::int64_t>(withMode.get(), "mode"), mode);
  EXPECT_EQ(log(), Texts{});
}

}  // namespace
}  // namespace tests
