// Races between two threads, each played out on one of them, so that it happens at every run.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::Fault;
using simulator::isLiveObject;

const char* const stamp = "manualDNDEnabledTime";

class RacesTest : public PhoneTest {
 protected:
  // How many readers are just about to retain a value: the word behind its exported pointer.
  std::uintptr_t& readers(const char* name = stamp) { return (&value<std::uintptr_t>(name))[1]; }
  id stampAnew() {
    phone().post("org.mernwick.hushlane.manualdndenabled");
    return object(stamp);
  }
};

TEST_F(RacesTest, CountsEveryReaderOutAgain) {
  chooseGroup({{0, "Anna", {"5551234567"}, {"anna@example.org"}}});
  start();
  dnd(true);
  EXPECT_TRUE(message("anna@example.org") && matcher("5551234567") && !suppressed(0));
  for (const char* name : {"privilegedMessageSenderEmails", "privilegedMessageSenderPhones",
                           "daysForSuppressingScheduler"}) {
    EXPECT_EQ(readers(name), 0u) << name;
  }
}

TEST_F(RacesTest, KeepsWhatAReaderIsAboutToRetain) {
  start();
  const id first = stampAnew();
  readers() = 1;
  const id second = stampAnew();
  const id third = stampAnew();
  EXPECT_TRUE(isLiveObject(first) && isLiveObject(second));
  readers() = 0;
  const id fourth = stampAnew();
  EXPECT_FALSE(isLiveObject(first) || isLiveObject(second) || isLiveObject(third));
  stampAnew();
  EXPECT_FALSE(isLiveObject(fourth));
}

TEST_F(RacesTest, KeepsItForEverWhenThereIsNoListToPutItOn) {
  start();
  const id first = stampAnew();
  readers() = 1;
  simulator::failAt(Fault::alloc, 2);  // the date is allocated first, then the list
  stampAnew();
  readers() = 0;
  stampAnew();
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
