// The least that a replacement of the bulletin server's decision can do: ask the original. Other
// costs are counted against it.
#include "platform/substrate.hpp"

namespace {

constinit IMP original = nullptr;

BOOL forward(id server, SEL selector, int32_t type, NSString* destinationID) {
  using Decision = BOOL (*)(id, SEL, int32_t, NSString*);
  return reinterpret_cast<Decision>(original)(server, selector, type, destinationID);
}

[[gnu::constructor]] void install() {
  hushlane::platform::replaceMethod(hushlane::platform::lookUpClass("BBServer"),
                                    "shouldPresentNotificationOfType:fromSenderWithDestinationID:",
                                    reinterpret_cast<IMP>(&forward), original);
}

}  // namespace
