// Lists that hand over their objects a few at a time, in the caller's buffer, as the platform's do
// when they keep them in no single place.

#include <algorithm>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

NSUInteger largestBatch = 0;

NSUInteger enumerateInBatches(id self, SEL, NSFastEnumerationState* state, id* buffer,
                              NSUInteger capacity) {
  const std::vector<id>& items = simulator::as<simulator::Array>(self, "NSArray")->items;
  const NSUInteger begin = state->state;
  const NSUInteger end = std::min(begin + std::min(capacity, largestBatch), items.size());
  std::copy(items.begin() + static_cast<std::ptrdiff_t>(begin),
            items.begin() + static_cast<std::ptrdiff_t>(end), buffer);
  state->state = end;
  state->itemsPtr = buffer;
  return end - begin;
}

class EnumerationTest : public PhoneTest {};

TEST_F(EnumerationTest, SeesEveryObjectOnceWhateverTheBatches) {
  std::vector<simulator::Person> members;
  Texts phones;
  for (int i = 0; i < 32; ++i) {
    phones.push_back(std::to_string(100 + i));
    members.push_back({0, "Somebody", {phones.back()}, {}});
  }
  chooseGroup(members);
  start();
  EXPECT_EQ(texts("privilegedMessageSenderPhones"), phones) << "all at once";
  for (const std::string& phone : phones) EXPECT_TRUE(matcher(phone)) << phone;
  end();
  for (const NSUInteger batch : {1u, 3u, 15u, 16u, 1000u}) {
    largestBatch = batch;
    IMP replaced = nullptr;
    MSHookMessageEx(simulator::classNamed("NSArray"),
                    sel_registerName("countByEnumeratingWithState:objects:count:"),
                    reinterpret_cast<IMP>(&enumerateInBatches), &replaced);
    start();
    EXPECT_EQ(texts("privilegedMessageSenderPhones"), phones) << batch;
    for (const std::string& phone : phones) EXPECT_TRUE(matcher(phone)) << phone;
    end();
  }
}

}  // namespace
}  // namespace tests
