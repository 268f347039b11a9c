// Lists that hand over their objects a few at a time, in the caller's buffer, as the platform's do
// when they keep them in no single place.

#include <algorithm>

#include "tests/support/phone_test.hpp"

namespace tests {
namespace {

NSUInteger largestBatch = 0;

NSUInteger enumerateInBatches(id self, SEL, NSFastEnumerationState* state, id* buffer,
                              NSUInteger capacity) {
  const std::vector<id>& items = simulator::as<simulator::Array>(self)->items;
  const NSUInteger batch = std::min({capacity, largestBatch, items.size() - state->state});
  std::copy_n(items.data() + state->state, batch, buffer);
  state->state += batch;
  state->itemsPtr = buffer;
  return batch;
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
  constexpr NSUInteger allInPlace = 0;
  for (const NSUInteger batch : {allInPlace, 1ul, 3ul, 15ul, 16ul, 1000ul}) {
    largestBatch = batch;
    if (batch != allInPlace) {
      substitute("NSArray", "countByEnumeratingWithState:objects:count:", &enumerateInBatches);
    }
    start();
    EXPECT_EQ(texts("privilegedMessageSenderPhones"), phones) << batch;
    for (const std::string& phone : phones) EXPECT_TRUE(matcher(phone)) << phone;
    end();
  }
}

}  // namespace
}  // namespace tests
