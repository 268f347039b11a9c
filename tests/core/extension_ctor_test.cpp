// Start-up: what the initializer does and in which order, as the platform sees it.

#include <algorithm>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

// The calls that begin with one of these, in order.
Texts only(const Texts& calls, const Texts& beginnings) {
  Texts kept;
  for (const std::string& call : calls) {
    const auto begins = [&](const std::string& text) { return call.starts_with(text); };
    if (std::ranges::any_of(beginnings, begins)) kept.push_back(call);
  }
  return kept;
}

class StartUpTest : public PhoneTest {
 protected:
  Texts tracedStart() {
    simulator::startTrace();
    start();
    return simulator::stopTrace();
  }
};

// The first autorelease scope is closed after the hooks, the second belongs to the load.
TEST_F(StartUpTest, HooksThenLogsThenLoadsThenObservesThenStampsTheTime) {
  set("allowedMessageGroup", std::int64_t{-100});
  const Texts calls = tracedStart();
  EXPECT_EQ(
      only(calls, {"objc_getClass BB", "MSHookMessageEx", "NSLog", "CFPreferences",
                   "CFNotificationCenter", "objc_autoreleasePool"}),
      (Texts{"objc_autoreleasePoolPush",
             "objc_getClass BBSettingsGateway",
             "MSHookMessageEx BBSettingsGateway activeBehaviorOverrideTypesChanged:source:",
             "MSHookMessageEx BBSettingsGateway activeBehaviorOverrideTypesChanged:",
             "objc_getClass BBServer",
             "MSHookMessageEx BBServer "
             "shouldPresentNotificationOfType:fromSenderWithDestinationID:",
             "objc_getClass BBBehaviorOverride",
             "MSHookMessageEx BBBehaviorOverride isActiveForDate:",
             "MSHookMessageEx BBBehaviorOverride initWithOverrideType:mode:effectiveIntervals:",
             "MSHookMessageEx BBBehaviorOverride initWithEffectiveIntervals:overrideType:",
             "objc_autoreleasePoolPop",
             "NSLog HL: starting...",
             "objc_autoreleasePoolPush",
             "CFPreferencesCopyKeyList org.mernwick.hushlane",
             "CFPreferencesCopyMultiple org.mernwick.hushlane",
             "objc_autoreleasePoolPop",
             "CFNotificationCenterGetDarwinNotifyCenter",
             "CFNotificationCenterAddObserver org.mernwick.hushlane.reloadsettings 0",
             "CFNotificationCenterGetDarwinNotifyCenter",
             "CFNotificationCenterAddObserver org.mernwick.hushlane.weekdaysettingschanged 0",
             "CFNotificationCenterGetDarwinNotifyCenter",
             "CFNotificationCenterAddObserver org.mernwick.hushlane.manualdndenabled 4"}));
  EXPECT_EQ(calls.back(), "message NSDate init");
}

TEST_F(StartUpTest, GoesOnWhenTheHostLacksAClass) {
  const auto replaced = [&] { return only(tracedStart(), {"MSHookMessageEx"}); };
  const Texts all = replaced();
  for (const std::string type : {"BBSettingsGateway", "BBServer", "BBBehaviorOverride"}) {
    end();
    simulator::hideClass(type);
    Texts expected = all;
    for (std::string& call : expected) {
      const std::size_t found = call.find(" " + type + " ");
      if (found != std::string::npos) call.replace(found + 1, type.size(), "(null)");
    }
    EXPECT_EQ(replaced(), expected);
    EXPECT_EQ(phone().notifications.observers().size(), 3u);
    EXPECT_NE(object("ctorTime"), nullptr);
  }
}

TEST_F(StartUpTest, IsLoggedOnceAndLeavesTheRestAsLoaded) {
  start();
  EXPECT_EQ(startLog, (Texts{"HL: starting...", "HL: unable to get preferences"}));
  EXPECT_EQ(integer("allowedMessageGroup"), 0);
  EXPECT_EQ(integer("maxNumOfDigitsToCompare"), 0);
  EXPECT_FALSE(boolean("isDNDActive"));
  EXPECT_EQ(object("daysForSuppressingScheduler"), nullptr);
  EXPECT_EQ(object("manualDNDEnabledTime"), nullptr);
  const auto* const stamped = simulator::as<simulator::Date>(object("ctorTime"));
  ASSERT_NE(stamped, nullptr);
  EXPECT_EQ(stamped->sinceReferenceDate, simulator::Clock::sinceReferenceDate(phone().clock.now()));
}

TEST_F(StartUpTest, TwoManualNotificationsLeaveOneDate) {
  start();
  const auto dates = [] { return simulator::liveObjectsByClass()["NSDate"]; };
  const std::int64_t before = dates();
  for (const bool logged : {false, true}) {
    debugLogging(logged);
    phone().advance(std::chrono::hours(1));
    phone().post("org.mernwick.hushlane.manualdndenabled");
    EXPECT_EQ(log(), logged ? Texts{"HL: got the manul dnd notification"} : Texts{});
    EXPECT_EQ(dates(), before + 1);
    EXPECT_FALSE(boolean("isDNDActive"));
    EXPECT_EQ(simulator::as<simulator::Date>(object("manualDNDEnabledTime"))->sinceReferenceDate,
              simulator::Clock::sinceReferenceDate(phone().clock.now()));
  }
}

}  // namespace
}  // namespace tests
