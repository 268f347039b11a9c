// What the log of an evening gives away about the people on the phone: nothing, unless somebody
// asked for the diagnostic lines.

#include <algorithm>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class PrivacyTest : public PhoneTest {
 protected:
  const Texts secrets_ = {"Mara",         "Quill",   "5550100142",  "0100142",
                          "142",          "Family",  "mara@quill",  "quill.example",
                          "eve@stranger", "5550190", "15557770190", "7770190"};

  // Everything that can happen on an evening, failures included.
  void spendAnEvening(bool logging) {
    const auto reloadAnd = [&](std::int64_t mode) {
      set("allowedMessageGroup", mode);
      debugLogging(logging);
      reload();
      debugLogging(logging);
    };
    const auto everyoneWrites = [&] {
      for (const auto& sender :
           {std::optional<std::string>("+15550100142"),
            std::optional<std::string>("mara@quill.example"),
            std::optional<std::string>("+15557770190"), std::optional<std::string>("eve@stranger"),
            std::optional<std::string>()}) {
        message(sender);
        matcher(sender);
        phone().bulletinBoard.arrives(2, sender);
      }
    };
    for (const bool active : {false, true}) {
      dnd(active);
      for (const std::int64_t mode : {group_, std::int64_t{-100}, std::int64_t{-200},
                                      std::int64_t{-300}, std::int64_t{-400}, group_}) {
        reloadAnd(mode);
        everyoneWrites();
      }
    }
    for (const simulator::FaultRow& row : simulator::faultTable()) {
      simulator::failAt(row.fault, 1);
      reload();
      debugLogging(logging);
      everyoneWrites();
      if (row.fault != simulator::Fault::unarchiveObjectWithData) interval();
      groups();
      simulator::resetFaults();
    }
    suppressed(0);
    phone().post("org.mernwick.hushlane.manualdndenabled");
    phone().advance(std::chrono::hours(30));
  }

  // The secrets that stand in some line, in their own order.
  Texts givenAway(const Texts& lines) {
    Texts found;
    for (const std::string& secret : secrets_) {
      const auto names = [&](const std::string& line) {
        return line.find(secret) != std::string::npos;
      };
      if (std::ranges::any_of(lines, names)) found.push_back(secret);
    }
    return found;
  }

  std::int64_t group_ = 0;
};

TEST_F(PrivacyTest, TheLogNamesNobodyUnlessDiagnosticsAreOn) {
  group_ = chooseGroup({{0, "Mara Quill", {"+1 (555) 010-0142"}, {"mara@quill.example"}}});
  phone().addressBook.addFavourite("+15550100142");
  phone().bulletinBoard.setSchedule(
      simulator::DailyPeriod{std::chrono::hours(22), std::chrono::hours(7)});
  set("schedulerWeekday_7", false);
  start();
  Texts lines = startLog;
  spendAnEvening(false);
  std::ranges::move(log(), std::back_inserter(lines));
  EXPECT_GT(lines.size(), 5u);
  EXPECT_EQ(givenAway(lines), Texts{});
  spendAnEvening(true);
  EXPECT_GE(givenAway(log()).size(), 4u) << "a search that finds nothing proves nothing";
}

}  // namespace
}  // namespace tests
