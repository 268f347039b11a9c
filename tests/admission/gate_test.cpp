// The gate, asked through the bulletin server's replaced method.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::PlatformAnswer;

class GateTest : public PhoneTest {
 protected:
  GateTest() {
    group_ = chooseGroup({{0, "Anna", {"+1 555 123 4567"}, {"anna@example.org"}},
                          {0, "Ben", {"0049 89 9876543"}, {}}});
    phone().addressBook.addPerson("Carla", {"555 000 1111"}, {"carla@example.org"});
    phone().addressBook.addFavourite("+15552223333");
  }

  void startWithGroup(std::int64_t allowed) {
    set("allowedMessageGroup", allowed);
    restart();
  }

  std::int32_t group_;
};

// One row for each outcome, in the order in which the gate decides. The platform's answer is "no"
// unless the row says "yes"; with Do Not Disturb off the platform is made to say so all the same.
TEST_F(GateTest, DecidesByTheFirstConditionThatHolds) {
  constexpr auto yes = PlatformAnswer::yes;
  constexpr auto no = PlatformAnswer::no;
  const struct {
    const char* what;
    PlatformAnswer platform;
    bool dnd;
    std::int64_t allowed;
    std::optional<std::string> sender;
    bool presented;
    const char* ownLine;  // the last before the result, or null
  } rows[] = {
      {"the platform's yes stands", yes, true, -200, "+15550001111", true, nullptr},
      {"its yes stands without Do Not Disturb", yes, false, -200, "x", true, nullptr},
      {"its no stands without Do Not Disturb", no, false, -100, "x", false, nullptr},
      {"all contacts: a contact", no, true, -400, "+15550001111", true, nullptr},
      {"all contacts: a stranger", no, true, -400, "+15557777777", false, nullptr},
      {"all contacts: an absent ID", no, true, -400, std::nullopt, false, nullptr},
      {"favourites: one of them", no, true, -300, "+15552223333", true, nullptr},
      {"favourites: a mere contact", no, true, -300, "+15550001111", false, nullptr},
      {"favourites: an absent ID", no, true, -300, std::nullopt, false, nullptr},
      {"nobody", no, true, -200, "+15552223333", false, nullptr},
      {"everyone", no, true, -100, "x", true, "HL: playing notifications from everyone..."},
      {"everyone, absent ID", no, true, -100, std::nullopt, true,
       "HL: playing notifications from everyone..."},
      {"group: a member's address", no, true, 1, "anna@example.org", true,
       "HL: found sender ID in privileged senders emails"},
      {"group: letter case counts", no, true, 1, "Anna@example.org", false, nullptr},
      {"group: part of an address", no, true, 1, "anna@example.or", false, nullptr},
      {"group: another contact's address", no, true, 1, "carla@example.org", false, nullptr},
      {"group: an @ rules the numbers out", no, true, 1, "@1234567", false, nullptr},
      {"group: an absent ID", no, true, 1, std::nullopt, false, nullptr},
      {"group: a member's number", no, true, 1, "+15551234567", true,
       "HL: found sender ID in privileged senders phones"},
      {"group: the second member's number", no, true, 1, "+49899876543", true,
       "HL: found sender ID in privileged senders phones"},
      {"group: another contact's number", no, true, 1, "+15550001111", false,
       "HL:\tdid not find privileged phone with destinationID suffix (0001111)"},
      {"zero lets nobody through", no, true, 0, "+15551234567", false, nullptr},
      {"minus one", no, true, -1, "+15551234567", false, nullptr},
      {"between the named modes", no, true, -150, "+15551234567", false, nullptr},
      {"between the named modes", no, true, -250, "+15552223333", false, nullptr},
      {"between the named modes", no, true, -350, "+15552223333", false, nullptr},
      {"below the named modes", no, true, -500, "+15551234567", false, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    startWithGroup(row.allowed == 1 ? group_ : row.allowed);
    phone().bulletinBoard.platformAnswer = row.platform;
    phone().bulletinBoard.reportOverrideTypes(row.dnd ? 1 : 0, std::nullopt);
    EXPECT_EQ(answerAndLog(phone(), [&] { return message(row.sender); }),
              (std::pair(row.presented, Texts{})));

    debugLogging(true);
    const auto [presented, lines] = answerAndLog(phone(), [&] { return message(row.sender); });
    EXPECT_EQ(presented, row.presented);
    ASSERT_GE(lines.size(), 3u);
    const std::string platformYesNo = row.platform == yes ? "y" : "n";
    EXPECT_EQ(lines[0], "HL: default should present this notification: " + platformYesNo +
                            ", notification type: 1");
    EXPECT_EQ(lines[1],
              std::string("HL: DnD active:") + (row.dnd ? "y" : "n") +
                  ", privilegedGroupID=" + std::to_string(row.allowed == 1 ? group_ : row.allowed));
    EXPECT_EQ(lines.back(),
              std::string("HL: presenting contact?, returning: ") + (row.presented ? "y" : "n"));
    EXPECT_EQ(lines[lines.size() - 2], row.ownLine != nullptr ? row.ownLine : lines[1]);
  }
}

TEST_F(GateTest, LeavesEveryOtherTypeToThePlatform) {
  for (const std::int64_t allowed : {-100, -300, -400, 1}) {
    startWithGroup(allowed);
    debugLogging(true);
    dnd(true);
    for (const int type : {0, 2, -1, 0x10001}) {
      for (const bool platformYes : {true, false}) {
        phone().bulletinBoard.platformAnswer =
            platformYes ? PlatformAnswer::yes : PlatformAnswer::no;
        EXPECT_EQ(answerAndLog(phone(),
                               [&] { return phone().bulletinBoard.arrives(type, "+15551234567"); }),
                  (std::pair(platformYes,
                             Texts{std::string("HL: default should present this notification: ") +
                                       (platformYes ? "y" : "n") +
                                       ", notification type: " + std::to_string(type),
                                   "HL: notification is not a message, returning orig"})));
      }
    }
  }
}

TEST_F(GateTest, WritesTheMatchersLinesBeforeItsOwn) {
  startWithGroup(group_);
  debugLogging(true);
  dnd(true);
  const std::string g = std::to_string(group_);
  EXPECT_EQ(answerAndLog(phone(), [&] { return message("+15551234567"); }),
            (std::pair(true, Texts{"HL: default should present this notification: n, "
                                   "notification type: 1",
                                   "HL: DnD active:y, privilegedGroupID=" + g,
                                   "HL: comparing last 7 digits of phone number",
                                   "HL:\tfound privileged phone with destinationID suffix "
                                   "(1234567): 15551234567",
                                   "HL: found sender ID in privileged senders phones",
                                   "HL: presenting contact?, returning: y"})));
}

// Any type is asked again with a feed, on a host that has feeds and answers to the question; the
// answer is not used.
TEST_F(GateTest, AsksWithAFeedOnlyWhereTheHostHasFeeds) {
  const struct {
    double foundation;
    bool answersToIt;
    std::uint64_t questions;
  } rows[] = {{1299.9, true, 0}, {1300.0, true, 2}, {1400.0, false, 0}};
  for (const auto& row : rows) {
    phone().setFoundationVersion(row.foundation);
    startWithGroup(-200);
    if (!row.answersToIt) {
      simulator::removeMethod(
          "BBServer", "shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:");
    }
    dnd(true);
    phone().bulletinBoard.feedQuestions = 0;
    EXPECT_FALSE(message("+15551234567"));
    EXPECT_FALSE(phone().bulletinBoard.arrives(2, std::nullopt));
    EXPECT_EQ(phone().bulletinBoard.feedQuestions, row.questions) << row.foundation;
    dnd(false);
  }
}

struct Question {
  id server;
  SEL selector;
  int type;
  id destinationId;
  NSUInteger feed;
  bool operator==(const Question&) const = default;
};
std::vector<Question> questions;

BOOL recordQuestion(id server, SEL selector, int type, id destinationId) {
  questions.push_back({server, selector, type, destinationId, 0});
  return true;
}

BOOL recordQuestionWithFeed(id server, SEL selector, int type, id destinationId, NSUInteger feed) {
  questions.push_back({server, selector, type, destinationId, feed});
  return false;
}

TEST_F(GateTest, HandsOnWhatItWasAsked) {
  const Class type = simulator::classNamed("BBServer");
  const SEL question =
      sel_registerName("shouldPresentNotificationOfType:fromSenderWithDestinationID:");
  const SEL withFeed =
      sel_registerName("shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:");
  IMP replaced = nullptr;
  MSHookMessageEx(type, question, reinterpret_cast<IMP>(&recordQuestion), &replaced);
  MSHookMessageEx(type, withFeed, reinterpret_cast<IMP>(&recordQuestionWithFeed), &replaced);
  phone().setFoundationVersion(1300.0);
  start();
  questions.clear();
  const auto server = simulator::own(simulator::header(simulator::message(type, "alloc")));
  const auto sender = simulator::own(simulator::makeString("anna@example.org"));
  const id destinationId = sender.get();
  EXPECT_TRUE(simulator::message<BOOL>(server.get(), question->name.c_str(), -7, destinationId));
  EXPECT_EQ(questions, (std::vector<Question>{{server.get(), question, -7, destinationId, 0},
                                              {server.get(), withFeed, -7, destinationId, 0}}));
}

TEST_F(GateTest, FindsNobodyOnAServerThatLostItsLookUps) {
  for (const std::int64_t allowed : {-300, -400}) {
    startWithGroup(allowed);
    simulator::removeMethod("BBServer", "_doesAddressBookContainDestinationID:");
    simulator::removeMethod("BBServer", "_doesFavoritesListContainDestinationID:");
    dnd(true);
    EXPECT_FALSE(message("+15552223333"));
  }
}

// Before the first complete load nothing is chosen and no collection exists.
TEST_F(GateTest, LetsNobodyThroughBeforeAnySettingsAreRead) {
  phone().preferences.clear(simulator::settingsDomain);
  start();
  dnd(true);
  EXPECT_FALSE(message("+15551234567"));
  value<std::int64_t>("allowedMessageGroup") = group_;
  EXPECT_FALSE(message("+15551234567"));
  EXPECT_FALSE(message("anna@example.org"));
}

}  // namespace
}  // namespace tests
