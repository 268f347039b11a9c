// The gate, asked through the bulletin server's replaced method.

#include <fmt/format.h>

#include <tuple>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

using simulator::PlatformAnswer;

class GateTest : public PhoneTest {
 protected:
  GateTest() {
    group_ = chooseGroup({{0, "Anna", {"+1 555 123 4567"}, {"anna@example.org"}},
                          {0, "Ben", {"0049 89 9876543"}, {"5550009999"}}});
    phone().addressBook.addPerson("Carla", {"555 000 1111"}, {"carla@example.org"});
    phone().addressBook.addFavourite("+15552223333");
  }

  void startWithGroup(std::int64_t allowed) {
    set("allowedMessageGroup", allowed);
    restart();
  }

  std::int64_t group_;
};

// One row for each outcome, in the order in which the gate decides. The platform's answer is "no"
// unless the row says "yes"; with Do Not Disturb off the platform is made to say so all the same.
TEST_F(GateTest, DecidesByTheFirstConditionThatHolds) {
  constexpr auto yes = PlatformAnswer::yes;
  constexpr auto no = PlatformAnswer::no;
  const Texts everyone = {"HL: playing notifications from everyone..."};
  const Texts foundAddress = {"HL: found sender ID in privileged senders emails"};
  const std::string comparing = "HL: comparing last 7 digits of phone number";
  const auto foundNumber = [&](const std::string& tail, const std::string& number) {
    return Texts{comparing,
                 "HL:\tfound privileged phone with destinationID suffix (" + tail + "): " + number,
                 "HL: found sender ID in privileged senders phones"};
  };
  const auto foundNone = [&](const std::string& tail) {
    return Texts{comparing,
                 "HL:\tdid not find privileged phone with destinationID suffix (" + tail + ")"};
  };
  const struct {
    const char* what;
    PlatformAnswer platform;
    bool dnd;
    std::int64_t allowed;
    std::optional<std::string> sender;
    bool presented;
    Texts ownLines;  // between what the gate found and its result
  } rows[] = {
      {"the platform's yes stands", yes, true, -200, "+15550001111", true, {}},
      {"its no stands without Do Not Disturb", no, false, -100, "x", false, {}},
      {"all contacts: a contact", no, true, -400, "+15550001111", true, {}},
      {"all contacts: a stranger", no, true, -400, "+15557777777", false, {}},
      {"favourites: one of them", no, true, -300, "+15552223333", true, {}},
      {"favourites: a mere contact", no, true, -300, "+15550001111", false, {}},
      {"nobody", no, true, -200, "+15552223333", false, {}},
      {"everyone", no, true, -100, "x", true, everyone},
      {"everyone, absent ID", no, true, -100, std::nullopt, true, everyone},
      {"group: a member's address", no, true, 1, "anna@example.org", true, foundAddress},
      {"group: another contact's address", no, true, 1, "carla@example.org", false, {}},
      {"group: an @ rules the numbers out", no, true, 1, "@1234567", false, {}},
      {"group: an absent ID", no, true, 1, std::nullopt, false, {}},
      {"group: a member's number", no, true, 1, "+15551234567", true,
       foundNumber("1234567", "15551234567")},
      {"group: the second member's number", no, true, 1, "+49899876543", true,
       foundNumber("9876543", "0049899876543")},
      {"group: another contact's number", no, true, 1, "+15550001111", false, foundNone("0001111")},
      {"group: no @ rules the addresses out", no, true, 1, "5550009999", false,
       foundNone("0009999")},
      {"zero lets nobody through", no, true, 0, "+15551234567", false, {}},
      {"between the named modes", no, true, -150, "+15551234567", false, {}},
      {"between the named modes", no, true, -350, "+15552223333", false, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    startWithGroup(row.allowed == 1 ? group_ : row.allowed);
    phone().bulletinBoard.platformAnswer = row.platform;
    phone().bulletinBoard.reportOverrideTypes(row.dnd ? 1 : 0, std::nullopt);
    EXPECT_EQ(answerAndLog(phone(), [&] { return message(row.sender); }),
              (std::pair(row.presented, Texts{})));

    debugLogging(true);
    Texts lines = {
        fmt::format("HL: default should present this notification: {}, notification type: 1",
                    row.platform == yes ? "y" : "n"),
        fmt::format("HL: DnD active:{}, privilegedGroupID={}", row.dnd ? "y" : "n",
                    integer("allowedMessageGroup"))};
    lines.insert(lines.end(), row.ownLines.begin(), row.ownLines.end());
    lines.push_back(std::string("HL: presenting contact?, returning: ") +
                    (row.presented ? "y" : "n"));
    EXPECT_EQ(answerAndLog(phone(), [&] { return message(row.sender); }),
              (std::pair(row.presented, lines)));
  }
}

TEST_F(GateTest, LeavesEveryOtherTypeToThePlatform) {
  for (const std::int64_t allowed : {-100, -400}) {
    startWithGroup(allowed);
    debugLogging(true);
    dnd(true);
    for (const int type : {0, 2, -1, 0x10001}) {
      const auto ask = [&] { return phone().bulletinBoard.arrives(type, "+15551234567"); };
      for (const bool yes : {true, false}) {
        phone().bulletinBoard.platformAnswer = yes ? PlatformAnswer::yes : PlatformAnswer::no;
        const Texts lines = {fmt::format("HL: default should present this notification: {}, "
                                         "notification type: {}",
                                         yes ? "y" : "n", type),
                             "HL: notification is not a message, returning orig"};
        EXPECT_EQ(answerAndLog(phone(), ask), (std::pair(yes, lines)));
      }
    }
  }
}

// What the server is asked, by the library or through it: itself, the selector, the type, the ID
// and the feed, or zero where there is none. Every other answer differs from the first one's.
using Question = std::tuple<id, std::string, int, id, NSUInteger>;
std::vector<Question> questions;
bool decision;
std::function<void()> meanwhile;

BOOL decide(id server, SEL selector, int type, id destinationId) {
  questions.emplace_back(server, selector->name, type, destinationId, 0);
  if (meanwhile) meanwhile();
  return decision;
}

BOOL decideOtherwise(id server, SEL selector, int type, id destinationId, NSUInteger feed) {
  questions.emplace_back(server, selector->name, type, destinationId, feed);
  return !decision;
}

BOOL lookUp(id server, SEL selector, id destinationId) {
  questions.emplace_back(server, selector->name, 0, destinationId, 0);
  if (meanwhile) meanwhile();
  return !decision;
}

constexpr char question[] = "shouldPresentNotificationOfType:fromSenderWithDestinationID:";
constexpr char withFeed[] = "shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:";
constexpr char inContacts[] = "_doesAddressBookContainDestinationID:";
constexpr char inFavourites[] = "_doesFavoritesListContainDestinationID:";

class RecordingServerTest : public PhoneTest {
 protected:
  void startWith(std::int64_t allowed) {
    set("allowedMessageGroup", allowed);
    end();
    substitute("BBServer", question, &decide);
    substitute("BBServer", withFeed, &decideOtherwise);
    substitute("BBServer", inContacts, &lookUp);
    substitute("BBServer", inFavourites, &lookUp);
    start();
    questions.clear();
  }
};

// Any type is asked again with a feed, on a host that has feeds; that answer does not count.
TEST_F(RecordingServerTest, IsAskedWithWhatTheGateWasAskedWith) {
  const struct {
    double foundation;
    int type;
    std::int64_t allowed;
    const char* lookUp;  // or null
  } rows[] = {{1299.9, 1, -400, inContacts},
              {1300.0, 1, -300, inFavourites},
              {1300.0, 1, -200, nullptr},
              {1300.0, -7, -400, nullptr}};
  const auto text = simulator::own(simulator::makeString("+1 (555) 222-3333"));
  const auto server = simulator::own(
      simulator::header(simulator::message(simulator::classNamed("BBServer"), "alloc")));
  const id asked = server.get();
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    phone().setFoundationVersion(row.foundation);
    startWith(row.allowed);
    value<bool>("isDNDActive") = true;
    for (const id sender : {id{text.get()}, id{nullptr}}) {
      for (const bool platformYes : {true, false}) {
        decision = platformYes;
        questions.clear();
        std::vector<Question> expected = {{asked, question, row.type, sender, 0}};
        if (row.foundation >= 1300) expected.emplace_back(asked, withFeed, row.type, sender, 0);
        const bool looksUp = row.lookUp != nullptr && !platformYes;
        if (looksUp) expected.emplace_back(asked, row.lookUp, 0, sender, 0);
        EXPECT_EQ(simulator::message<BOOL>(asked, question, row.type, sender),
                  platformYes || looksUp);
        EXPECT_EQ(questions, expected);
      }
    }
  }
}

// What changes while the server is asked is seen by the steps that follow.
TEST_F(RecordingServerTest, IsAskedBeforeAnyValueIsRead) {
  startWith(-200);
  decision = false;
  meanwhile = [&] {
    debugLogging(questions.size() == 1);
    value<bool>("isDNDActive") = true;
    value<std::int64_t>("allowedMessageGroup") = -300;
  };
  EXPECT_EQ(answerAndLog(phone(), [&] { return message("+15552223333"); }),
            (std::pair(true, Texts{"HL: default should present this notification: n, "
                                   "notification type: 1",
                                   "HL: DnD active:y, privilegedGroupID=-300"})));
  meanwhile = nullptr;
}

}  // namespace
}  // namespace tests
