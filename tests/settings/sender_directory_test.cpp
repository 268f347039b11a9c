// What the library takes from the address book: the members of the chosen group, and all groups.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::Fault;

class SenderDirectoryTest : public PhoneTest {
 protected:
  void expectNobody() {
    EXPECT_EQ(texts("privilegedMessageSenderIDs"), Texts{});
    EXPECT_EQ(texts("privilegedMessageSenderPhones"), Texts{});
    EXPECT_EQ(texts("privilegedMessageSenderEmails"), Texts{});
  }
};

TEST_F(SenderDirectoryTest, KeepsDigitsAndAddressesInTheOrderOfTheBook) {
  const std::string thai = "\u0e51\u0e52\u0e53 12";
  std::string ascii;
  for (char letter = 1; letter < 127; ++letter) ascii += letter;
  const std::string longAddress = std::string(100'000, 'a') + "@example.org";
  chooseGroup({{0, "Zoe", {"+1 (555) 123-4567", "555.123.4567 ext. 89", "call me"}, {}},
               {0, "Anna", {thai, "555.123.4567 ext. 89"}, {" Anna@Example.org ", longAddress}},
               {0, "Ben", {ascii}, {" Anna@Example.org "}}});
  start();
  EXPECT_EQ(texts("privilegedMessageSenderIDs"), (Texts{"1", "2", "3"}));
  EXPECT_EQ(texts("privilegedMessageSenderPhones"),
            (Texts{"15551234567", "555123456789", "", "12", "555123456789", "0123456789"}));
  EXPECT_EQ(texts("privilegedMessageSenderEmails"),
            (Texts{" Anna@Example.org ", longAddress, " Anna@Example.org "}));
}

TEST_F(SenderDirectoryTest, FollowsTheBookOnlyAtALoad) {
  const std::int64_t group = chooseGroup({{0, "Anna", {"1"}, {"a@b"}}});
  start();
  const std::int64_t memberless = phone().addressBook.addGroup("Empty", {});
  for (const std::int64_t empty : {memberless, memberless + 1, std::int64_t{-100}, 0L}) {
    set("allowedMessageGroup", empty);
    EXPECT_EQ(texts("privilegedMessageSenderPhones"), Texts{"1"});
    reload();
    expectNobody();
    set("allowedMessageGroup", std::int64_t{group});
    reload();
    EXPECT_EQ(log(), Texts{});
  }
}

// Whoever asks while the members are being read gets nobody, neither the old nor some of the new.
TEST_F(SenderDirectoryTest, PublishesTheMembersOnceAllOfThemAreRead) {
  chooseGroup({{0, "Anna", {"1"}, {"a@b"}}, {0, "Ben", {"2"}, {"b@b"}}});
  start();
  for (const Fault step : {Fault::ABRecordCopyValue, Fault::ABMultiValueCopyArrayOfAllValues}) {
    EXPECT_EQ(texts("privilegedMessageSenderIDs"), (Texts{"1", "2"}));
    EXPECT_GE(reloadWatching(step, [&] { expectNobody(); }), 2);
  }
}

TEST_F(SenderDirectoryTest, GetsByWithoutOneNumber) {
  chooseGroup({{0, "Anna", {"1", "2"}, {"a@b"}}, {0, "Ben", {"3"}, {}}});
  start();
  simulator::failAt(Fault::ABMultiValueCopyValueAtIndex, 1);
  reload();
  EXPECT_EQ(texts("privilegedMessageSenderPhones"), (Texts{"2", "3"}));
}

// The platform's functions need not stand being handed nothing.
TEST_F(SenderDirectoryTest, AsksNothingOfWhatIsNotThere) {
  const std::int64_t group = chooseGroup({{0, "Anna", {}, {}}});
  start();
  for (const std::int64_t chosen : {std::int64_t{group}, std::int64_t{group} + 1}) {
    set("allowedMessageGroup", chosen);
    simulator::startTrace();
    reload();
    for (const std::string& call : simulator::stopTrace()) {
      EXPECT_FALSE(call.starts_with("ABMultiValue")) << call;
      EXPECT_FALSE(chosen != group && call.starts_with("ABGroupCopy")) << call;
    }
  }
}

TEST_F(SenderDirectoryTest, ListsTheGroupsInThePlatformsOrder) {
  start();
  EXPECT_EQ(groups(), Texts{});
  phone().addressBook.addGroup("Zoo", {});
  phone().addressBook.addGroup("Family", {});
  EXPECT_EQ(groups(), (Texts{"1 Zoo", "2 Family"}));
  simulator::failAt(Fault::ABRecordCopyCompositeName, 1);
  EXPECT_EQ(groups(), (Texts{"1 ", "2 Family"}));
}

TEST_F(SenderDirectoryTest, SaysNothingOfGroupsThatCanNotBeListed) {
  phone().addressBook.addGroup("Family", {});
  start();
  debugLogging(true);
  for (const Fault step :
       {Fault::ABAddressBookCreateWithOptions, Fault::ABAddressBookRequestAccessWithCompletion,
        Fault::ABAddressBookCopyArrayOfAllGroups}) {
    simulator::failAt(step, 1);
    EXPECT_EQ(groups(), Texts{});
    EXPECT_EQ(log(), Texts{});
  }
}

}  // namespace
}  // namespace tests
