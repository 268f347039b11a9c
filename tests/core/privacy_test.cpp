// What the log of an evening gives away about the people on the phone: nothing, unless somebody
// asked for the diagnostic lines.

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class PrivacyTest : public PhoneTest {
 protected:
  void everyoneWrites(bool logging) {
    for (const std::optional<std::string> sender :
         {"+15550100142", "mara@quill.example", "+15557770190", "eve@stranger", ""}) {
      debugLogging(logging);
      message(sender);
      matcher(sender);
      phone().bulletinBoard.arrives(2, sender);
    }
  }

  // Everything that can happen on an evening, failures included.
  void spendAnEvening(std::int64_t group, bool logging) {
    for (const bool active : {false, true}) {
      dnd(active);
      for (const std::int64_t mode : {std::int64_t{-100}, std::int64_t{-300}, group}) {
        set("allowedMessageGroup", mode);
        debugLogging(logging);
        reload();
        everyoneWrites(logging);
      }
    }
    for (const simulator::FaultRow& row : simulator::faultTable()) {
      simulator::failAt(row.fault, 1);
      reload();
      everyoneWrites(logging);
      if (row.fault != simulator::Fault::unarchiveObjectWithData) interval();
      groups();
      simulator::resetFaults();
    }
    suppressed(0);
    phone().post("org.mernwick.hushlane.manualdndenabled");
    phone().advance(std::chrono::hours(30));
  }

  // Parts of every name, number and address, and of the group's name, that stand in some line.
  static Texts givenAway(const Texts& lines) {
    Texts found;
    for (const std::string secret : {"Mara", "Quill", "quill", "142", "190", "eve@", "Chosen"}) {
      for (const std::string& line : lines) {
        if (line.find(secret) == std::string::npos) continue;
        found.push_back(secret);
        break;
      }
    }
    return found;
  }
};

TEST_F(PrivacyTest, TheLogNamesNobodyUnlessDiagnosticsAreOn) {
  const std::int64_t group =
      chooseGroup({{0, "Mara Quill", {"+1 (555) 010-0142"}, {"mara@quill.example"}}});
  phone().addressBook.addFavourite("+15550100142");
  phone().bulletinBoard.setSchedule(
      simulator::DailyPeriod{std::chrono::hours(22), std::chrono::hours(7)});
  set("schedulerWeekday_7", false);
  start();
  EXPECT_EQ(givenAway(startLog), Texts{});
  spendAnEvening(group, false);
  EXPECT_EQ(givenAway(log()), Texts{});
  spendAnEvening(group, true);
  EXPECT_EQ(givenAway(log()), (Texts{"142", "190"}))
      << "a search that finds nothing proves nothing";
}

}  // namespace
}  // namespace tests
