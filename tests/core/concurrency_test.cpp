// The gate asked from four threads while settings reload: every answer is one that the old, the
// empty or the new settings give.

#include <thread>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

class ConcurrencyTest : public PhoneTest {};

TEST_F(ConcurrencyTest, ReadersSeeWholeSettingsWhileTheyReload) {
  const std::int32_t first = chooseGroup({{0, "Anna", {"5551234567"}, {"anna@example.org"}}});
  const std::int32_t second = chooseGroup({{0, "Ben", {"5557654321"}, {"ben@example.org"}}});
  start();
  dnd(true);
  std::atomic<bool> ending{false};
  std::atomic<std::uint64_t> presented{0};
  std::atomic<std::uint64_t> strangers{0};
  std::vector<std::thread> readers;
  for (const char* sender :
       {"+15551234567", "anna@example.org", "+15557654321", "ben@example.org"}) {
    readers.emplace_back([&, sender] {
      while (!ending) {
        presented += message(sender);
        strangers += message("+15550000000") || message("eve@example.org");
        (void)matcher("5551234567");
        (void)suppressed(3);
      }
    });
  }
  for (int round = 0; round < 100; ++round) {
    set("allowedMessageGroup", std::int64_t{round % 2 == 0 ? first : second});
    set("schedulerWeekday_3", round % 3 == 0);
    reload();
  }
  ending = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(presented, 0u);
  EXPECT_EQ(strangers, 0u);
  EXPECT_TRUE(message("ben@example.org"));
  EXPECT_FALSE(message("anna@example.org"));
}

}  // namespace
}  // namespace tests
