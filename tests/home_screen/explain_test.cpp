// What the home screen says of a message is held against the gate itself, on random senders, modes
// and settings.

#include <date/date.h>

#include <map>
#include <random>

#include "home_screen/ask/explanation.hpp"
#include "home_screen/ask/exported.hpp"
#include "home_screen/ask/who.hpp"
#include "tests/support/phone_test.hpp"

namespace {

using home_screen::Change;
using home_screen::Condition;
using home_screen::Explainer;
using home_screen::Explanation;
using home_screen::Session;
using simulator::PlatformAnswer;

const tests::Texts storedNumbers = {"+1 (555) 010-0142", "555 010 0177", "+442070100142", "0142",
                                    "call me"};
const tests::Texts storedAddresses = {"mara@quill.example", "Jonas@quill.example"};

class ExplainTest : public tests::PhoneTest {
 protected:
  ExplainTest() {
    chooseGroup({{0, "Mara", {storedNumbers[0], storedNumbers[4]}, {storedAddresses[0]}},
                 {0, "Jonas", {storedNumbers[1]}, {storedAddresses[1]}}});
    chooseGroup({{0, "Tomas", {storedNumbers[2], storedNumbers[3]}, {}}});
    phone().addressBook.addFavourite(storedNumbers[1]);
  }

  std::int64_t between(std::int64_t least, std::int64_t most) {
    return std::uniform_int_distribution<std::int64_t>(least, most)(random_);
  }
  template <class T>
  T oneOf(const std::vector<T>& list) {
    return list[static_cast<std::size_t>(between(0, static_cast<std::int64_t>(list.size()) - 1))];
  }

  // Like an entry of the address book, like nothing, or hard to read in a log line.
  std::string randomSender() {
    const auto kind = between(0, 5);
    if (kind == 0) return oneOf(storedAddresses);
    if (kind == 1) {
      return oneOf<std::string>(
          {"", "@", "+", "x): 1", "(0142)", "0100142 ", "MARA@quill.example"});
    }
    if (kind == 2) return std::to_string(between(0, 99'999));
    const std::string digits = simulator::digitsOf(oneOf(storedNumbers));
    const auto left = between(0, static_cast<std::int64_t>(digits.size()));
    return oneOf<std::string>({"", "+", "+1", "99"}) +
           digits.substr(static_cast<std::size_t>(left));
  }

  std::mt19937_64 random_{20261121};
};

// The answer that the condition which decided stands for.
bool answerTold(const Explanation& explanation) {
  const Condition& last = explanation.chain.back();
  if (last.name == "Phone's own answer") return last.value == "present it";
  if (last.name == "Let through") return last.value == "everyone";
  if (last.name == "A member's number") return last.value != "no";
  return last.value == "yes";
}

TEST_F(ExplainTest, AgreesWithTheGateOnRandomSendersModesAndSettings) {
  Session session(phone(), HUSHLANE_LIBRARY);
  session.start();
  auto& mode = session.library().allowedMessageGroup;
  auto& digits = session.library().maxNumOfDigitsToCompare;
  const Explainer explainer(session);
  int presented = 0;
  constexpr int questions = 100'000;
  for (int i = 0; i < questions; ++i) {
    if (i % 5'000 == 0) {
      set("allowedMessageGroup", between(1, 2));
      session.post("reloadsettings");
      simulator::forgetZombies();
    }
    // The phone's own look-ups open its address book, so they are asked less often.
    mode = i % 50 == 0 ? oneOf<std::int64_t>({-300, -400})
                       : oneOf<std::int64_t>({-200, -100, 0, -7, 1, 1, 2, 2, 99});
    digits = between(-2, 16);
    phone().bulletinBoard.platformAnswer =
        oneOf<PlatformAnswer>({PlatformAnswer::automatic, PlatformAnswer::no, PlatformAnswer::no,
                               PlatformAnswer::no, PlatformAnswer::no, PlatformAnswer::yes});
    phone().bulletinBoard.reportOverrideTypes(between(0, 7) == 0 ? 0 : 1, 0);
    const std::string sender = randomSender();
    const bool answer = message(sender);
    const Explanation explanation = explainer.explain(sender);
    ASSERT_EQ(explanation.presented, answer) << sender;
    ASSERT_EQ(answerTold(explanation), answer) << sender << " in mode " << mode << " by " << digits;
    if (answer) ++presented;
  }
  EXPECT_GT(presented, questions / 5);
  EXPECT_LT(presented, questions * 4 / 5);
}

TEST_F(ExplainTest, ProposesExactlyTheSettingsThatTurnTheAnswerRound) {
  using Setting = std::pair<std::string, simulator::PreferenceValue>;
  phone().bulletinBoard.setSchedule(
      simulator::DailyPeriod{std::chrono::hours(22), std::chrono::hours(7)});
  phone().setLocalTime(date::local_days(date::year(2026) / 11 / 22) + std::chrono::hours(1));
  Session session(phone(), HUSHLANE_LIBRARY);
  session.start();
  const auto apply = [&](const std::string& key, const simulator::PreferenceValue& value) {
    set(key, value);
    session.post("reloadsettings");
  };
  std::vector<Setting> tries;  // in the order of the proposals; no other weekday than Sunday counts
  for (const std::int64_t mode : {-100, -200, -300, -400, 1, 2}) {
    tries.emplace_back("allowedMessageGroup", mode);
  }
  for (std::int64_t digits = 1; digits <= 15; ++digits) {
    tries.emplace_back("maxNumOfDigitsToCompare", digits);
  }
  tries.emplace_back("schedulerWeekday_1", true);
  tries.emplace_back("schedulerWeekday_1", false);

  std::size_t changes = 0;
  for (int i = 0; i < 25; ++i) {
    std::map<std::string, simulator::PreferenceValue> settings = {
        {"allowedMessageGroup", oneOf<std::int64_t>({-100, -200, -300, -400, 1, 1, 1, 2, 2})},
        {"maxNumOfDigitsToCompare", between(1, 15)},
        {"schedulerWeekday_1", between(0, 3) != 0}};
    for (const auto& [key, value] : settings) apply(key, value);
    const std::string sender = randomSender();
    const bool before = message(sender);

    std::vector<Setting> turning;
    for (const auto& [key, value] : tries) {
      apply(key, value);
      if (message(sender) != before) turning.emplace_back(key, value);
      apply(key, settings[key]);
    }
    const auto weekdaysBefore = home_screen::suppressedWeekdays(session);
    std::vector<Setting> proposed;
    for (const Change& change : Explainer(session).changesFor(sender)) {
      proposed.emplace_back(change.key, change.value);
    }
    EXPECT_EQ(proposed, turning) << sender;
    EXPECT_EQ(home_screen::suppressedWeekdays(session), weekdaysBefore)
        << "the last try is still in force";
    changes += proposed.size();
    simulator::forgetZombies();
  }
  EXPECT_GT(changes, 25U);
}

TEST_F(ExplainTest, LeavesTheSessionAsItWasAlsoWhenGivenUp) {
  Session session(phone(), HUSHLANE_LIBRARY);
  session.start();
  auto& board = phone().bulletinBoard;
  board.setSchedule(simulator::DailyPeriod{{}, std::chrono::hours(23)});
  // What a load of the settings would not keep.
  const std::function<void()> changes[] = {[] {}, [&] { board.reportOverrideTypes(4, 9); },
                                           [&] { session.library().enableDebugLogging = true; },
                                           [&] { session.library().maxNumOfDigitsToCompare = 3; },
                                           [&] { phone().addressBook.accessGranted = false; }};
  for (const std::string_view givenUpAt : {"", "settings", "people's tails"}) {
    session.showProgress = [givenUpAt](const home_screen::Progress& progress) {
      if (progress.what == givenUpAt && progress.done == 2 && progress.total != 0)
        throw home_screen::GivenUp();
    };
    for (const auto& change : changes) {
      change();
      const auto values = home_screen::describeValues(session);
      const auto told = board.activeOverrideTypes.load();
      try {
        askToExplain(session, "+15550100142");
        askWho(session);
      } catch (const home_screen::GivenUp&) {
      }
      EXPECT_EQ(home_screen::describeValues(session), values) << givenUpAt;
      EXPECT_EQ(board.activeOverrideTypes, told) << givenUpAt;
    }
  }
}

TEST(SenderFrom, IsWhatAMessageFromAStoredNumberBears) {
  for (const auto& [stored, sender] : std::initializer_list<std::pair<const char*, const char*>>{
           {"+1 (555) 010-0142", "+15550100142"},
           {"555.010/0142", "5550100142"},
           {"  0044 20 7010 0142 ", "00442070100142"},
           {"+1 555 010 0142 ext. 7", "+15550100142"},
           {"+15550100142,,7#", "+15550100142"},
           {"tel: +1 555", "+1555"},
           {"1+555", "1555"},
           {"call me", ""},
       }) {
    EXPECT_EQ(home_screen::senderFrom(stored), sender) << stored;
  }
}

}  // namespace
