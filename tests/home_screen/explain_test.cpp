// Explanations are held against the gate itself, on random senders, modes and settings.

#include "home_screen/explain.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "tests/support/phone_test.hpp"

namespace {

using home_screen::Change;
using home_screen::Condition;
using home_screen::Explainer;
using home_screen::Explanation;
using home_screen::Player;
using simulator::PlatformAnswer;

const tests::Texts storedNumbers = {"+1 (555) 010-0142", "555 010 0177", "+442070100142", "0142",
                                    "call me"};
const tests::Texts storedAddresses = {"mara@quill.example", "Jonas@quill.example"};

class ExplainTest : public tests::PhoneTest {
 protected:
  ExplainTest() {
    auto& book = phone().addressBook;
    const auto mara =
        book.addPerson("Mara", {storedNumbers[0], storedNumbers[4]}, {storedAddresses[0]});
    const auto jonas = book.addPerson("Jonas", {storedNumbers[1]}, {storedAddresses[1]});
    const auto tomas = book.addPerson("Tomas", {storedNumbers[2], storedNumbers[3]}, {});
    book.addGroup("Family", {mara, jonas});
    book.addGroup("Others", {tomas});
    book.addFavourite(storedNumbers[1]);
    set("allowedMessageGroup", std::int64_t{1});
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
    static const tests::Texts awkward = {
        "", "@", "+", "x): 1", "(0142)", "0100142 ", "MARA@quill.example"};
    switch (between(0, 5)) {
      case 0:
        return oneOf(storedAddresses);
      case 1:
        return oneOf(awkward);
      case 2:
        return std::to_string(between(0, 99'999));
      default: {
        const std::string digits = home_screen::digitsOf(oneOf(storedNumbers));
        const auto kept = between(0, static_cast<std::int64_t>(digits.size()));
        return oneOf<std::string>({"", "+", "+1", "99"}) +
               digits.substr(digits.size() - static_cast<std::size_t>(kept));
      }
    }
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

struct Told {
  std::int64_t mode;
  const char* sender;
  const char* condition;
  const char* value;
  const char* source;
};

TEST_F(ExplainTest, NamesTheTailTheEntryAndItsOwner) {
  Player player(phone(), HUSHLANE_LIBRARY, false);
  dnd(true);
  player.start();
  phone().bulletinBoard.reportOverrideTypes(1, 0);
  for (const Told& told : {
           Told{1, "+445550100142", "A member's number", "15550100142", "Mara, +1 (555) 010-0142"},
           Told{1, "+5550100177", "A member's number", "5550100177", "Jonas, 555 010 0177"},
           Told{2, "0100142", "A member's number", "442070100142", "Tomas, +442070100142"},
           Told{1, "x): 1", "Tail compared", "x): 1",
                "the whole sender; maxNumOfDigitsToCompare is not set"},
           Told{1, "(0100142)", "Tail compared", "100142)",
                "last 7; maxNumOfDigitsToCompare is not set"},
           Told{1, "", "Tail compared", "(empty)",
                "the whole sender; maxNumOfDigitsToCompare is not set"},
           Told{1, "Jonas@quill.example", "A member's address", "yes",
                "Jonas, Jonas@quill.example"},
           Told{2, "Jonas@quill.example", "A member's address", "no", ""},
           Told{-400, "MARA@quill.example", "In the contacts", "yes", "Mara, mara@quill.example"},
           Told{-300, "+15550100177", "On the favourites list", "yes", "Jonas, 555 010 0177"},
           Told{-300, "+15550100142", "On the favourites list", "no", ""},
           Told{77, "1", "Let through", "group 77", "allowedMessageGroup is 77"},
           Told{0, "1", "Let through", "nobody (mode 0)", "allowedMessageGroup is 0"},
           Told{2, "1", "Let through", "group Others", "allowedMessageGroup is 2"},
       }) {
    set("allowedMessageGroup", told.mode);
    player.post("org.mernwick.hushlane.reloadsettings");
    const auto chain = Explainer(player).explain(told.sender).chain;
    const auto found = std::find_if(chain.begin(), chain.end(), [&](const Condition& condition) {
      return condition.name == told.condition;
    });
    ASSERT_NE(found, chain.end()) << told.sender;
    EXPECT_EQ(found->value, told.value) << told.sender;
    EXPECT_EQ(found->source, told.source) << told.sender;
  }
}

struct Reason {
  bool byHand;
  const char* moment;
  const char* condition;
  const char* value;
  const char* source;
};

TEST_F(ExplainTest, SaysWhyDoNotDisturbIsOnOrOff) {
  phone().bulletinBoard.setSchedule(
      simulator::DailyPeriod{std::chrono::hours(22), std::chrono::hours(7)});
  set("schedulerWeekday_7", false);
  Player player(phone(), HUSHLANE_LIBRARY, false);
  player.start();
  for (const Reason& reason : {
           Reason{false, "2026-11-20 23:00", "Do Not Disturb", "on",
                  "by the schedule 22:00-07:00, a Friday"},
           Reason{false, "2026-11-21 23:00", "Phone's own answer", "present it",
                  "schedule 22:00-07:00, but not on Saturdays"},
           Reason{false, "2026-11-22 12:00", "Phone's own answer", "present it",
                  "outside the schedule 22:00-07:00, a Sunday"},
           Reason{true, "2026-11-21 23:00", "Do Not Disturb", "on", "by hand"},
           Reason{true, "2026-11-22 23:00", "Do Not Disturb", "on",
                  "by hand, and by the schedule 22:00-07:00, a Sunday"},
       }) {
    phone().setLocalTime(*home_screen::parseLocalTime(reason.moment));
    dnd(reason.byHand);
    const auto chain = Explainer(player).explain("1").chain;
    const Condition& told = chain[std::string(reason.condition) == "Do Not Disturb" ? 1 : 0];
    EXPECT_EQ(told.name, reason.condition) << reason.moment;
    EXPECT_EQ(told.value, reason.value) << reason.moment;
    EXPECT_EQ(told.source, reason.source) << reason.moment;
  }
}

TEST_F(ExplainTest, AgreesWithTheGateOnRandomSendersModesAndSettings) {
  Player player(phone(), HUSHLANE_LIBRARY, false);
  player.start();
  auto& mode = player.library().value<std::int64_t>("allowedMessageGroup");
  auto& digits = player.library().value<std::int64_t>("maxNumOfDigitsToCompare");
  const Explainer explainer(player);
  int presented = 0;
  constexpr int questions = 100'000;
  for (int i = 0; i < questions; ++i) {
    if (i % 5'000 == 0) {
      set("allowedMessageGroup", between(1, 2));
      player.post("org.mernwick.hushlane.reloadsettings");
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
    ASSERT_EQ(answerTold(explanation), answer)
        << fmt::format("{} in mode {} by {}: {} {}", sender, mode, digits,
                       explanation.chain.back().name, explanation.chain.back().value);
    if (answer) ++presented;
  }
  EXPECT_GT(presented, questions / 5);
  EXPECT_LT(presented, questions * 4 / 5);
}

TEST_F(ExplainTest, ProposesExactlyTheSettingsThatTurnTheAnswerRound) {
  phone().bulletinBoard.setSchedule(
      simulator::DailyPeriod{std::chrono::hours(22), std::chrono::hours(7)});
  Player player(phone(), HUSHLANE_LIBRARY, false);
  player.start();
  const auto apply = [&](const std::string& key, const simulator::PreferenceValue& value) {
    set(key, value);
    player.post("org.mernwick.hushlane.reloadsettings");
  };
  int proposed = 0;
  for (int i = 0; i < 25; ++i) {
    const std::int64_t mode = oneOf<std::int64_t>({-100, -200, -300, -400, 1, 1, 1, 2, 2});
    const std::int64_t digits = between(1, 15);
    const bool onSunday = between(0, 3) != 0;
    apply("allowedMessageGroup", mode);
    apply("maxNumOfDigitsToCompare", digits);
    apply("schedulerWeekday_1", onSunday);
    phone().setLocalTime(date::local_days(date::year(2026) / 11 / 22) + std::chrono::hours(1));
    const std::string sender = randomSender();
    const bool before = message(sender);

    const std::vector<Change> changes = Explainer(player).changesFor(sender);
    EXPECT_EQ(message(sender), before) << "not restored";
    const auto isProposed = [&](const std::string& key, const simulator::PreferenceValue& value) {
      return std::any_of(changes.begin(), changes.end(), [&](const Change& change) {
        return change.key == key && change.value == value;
      });
    };
    const auto check = [&](const std::string& key, const simulator::PreferenceValue& tried,
                           const simulator::PreferenceValue& back) {
      apply(key, tried);
      EXPECT_EQ(message(sender) != before, isProposed(key, tried))
          << fmt::format("{}: {} in mode {} by {}", key, sender, mode, digits);
      apply(key, back);
    };
    for (const std::int64_t tried : std::vector<std::int64_t>{-100, -200, -300, -400, 1, 2}) {
      check("allowedMessageGroup", tried, mode);
    }
    for (std::int64_t tried = 1; tried <= 15; ++tried) {
      check("maxNumOfDigitsToCompare", tried, digits);
    }
    check("schedulerWeekday_1", !onSunday, onSunday);
    for (const Change& change : changes) {
      EXPECT_TRUE(change.key.ends_with("_1") || !change.key.starts_with("s")) << change.key;
    }
    proposed += static_cast<int>(changes.size());
    simulator::forgetZombies();
  }
  EXPECT_GT(proposed, 25);
}

}  // namespace
