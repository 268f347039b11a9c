// Races between two threads, each played out on one of them, so that it happens at every run.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::Fault;
using simulator::isLiveObject;

const char* const days = "daysForSuppressingScheduler";

class RacesTest : public PhoneTest {
 protected:
  // One reading of each collection that the rules read.
  bool read(const std::string& name) {
    if (name == days) return !suppressed(0);
    if (name == "privilegedMessageSenderPhones") return matcher("5551234567");
    return message("anna@example.org");
  }
  id loadAnew(const char* name = days) {
    reload();
    return object(name);
  }
};

// Two loads come to pass after a reader has seen the list and before it retains it.
TEST_F(RacesTest, KeepsWhatAReaderIsAboutToRetainAndNoLonger) {
  chooseGroup({{0, "Anna", {"5551234567"}, {"anna@example.org"}}});
  start();
  dnd(true);
  for (const char* name :
       {days, "privilegedMessageSenderPhones", "privilegedMessageSenderEmails"}) {
    SCOPED_TRACE(name);
    const id first = object(name);
    id second = nullptr;
    id third = nullptr;
    simulator::callBeforeRetain(first, [&] {
      second = loadAnew(name);
      third = loadAnew(name);
      EXPECT_TRUE(isLiveObject(first) && isLiveObject(second));
    });
    EXPECT_TRUE(read(name));
    const id fourth = loadAnew(name);
    EXPECT_FALSE(isLiveObject(first) || isLiveObject(second) || isLiveObject(third));
    loadAnew(name);
    EXPECT_FALSE(isLiveObject(fourth));
  }
}

TEST_F(RacesTest, KeepsItForEverWhenThereIsNoListToPutItOn) {
  set("schedulerWeekday_1", true);
  start();
  const id first = object(days);
  simulator::callBeforeRetain(first, [&] {
    simulator::failAt(Fault::alloc, 5);  // after the senders' lists and the weekdays'
    reload();
  });
  read(days);
  EXPECT_EQ(simulator::injectedFailures(), 1u);
  loadAnew();
  EXPECT_TRUE(isLiveObject(first));
  objc_release(first);
}

// Both threads find the constant missing and make it; the one that is later takes the other's.
TEST_F(RacesTest, MakesAConstantOnceWhenTwoThreadsWantIt) {
  chooseGroup({{0, "Anna", {}, {"anna@example.org"}}});
  start();
  dnd(true);
  int other = 0;
  simulator::callBefore(Fault::initWithUTF8String,
                        [&] { other = message("anna@example.org") ? 1 : -1; });
  EXPECT_TRUE(message("anna@example.org"));
  EXPECT_EQ(other, 1);
}

}  // namespace
}  // namespace tests
