#include "platform/bulletin_board.hpp"

#include "platform/runtime.hpp"

namespace hushlane::platform {

bool addressBookContains(BBServer* server, NSString* destinationID) {
  return sendIfAnswered<"_doesAddressBookContainDestinationID:", BOOL(NSString*)>(server,
                                                                                  destinationID);
}

bool favoritesListContains(BBServer* server, NSString* destinationID) {
  return sendIfAnswered<"_doesFavoritesListContainDestinationID:", BOOL(NSString*)>(server,
                                                                                    destinationID);
}

void askWhetherToPresentInFeed(BBServer* server, int32_t type, NSString* destinationID) {
  constexpr NSUInteger anyFeed = 0;
  sendIfAnswered<"shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:",
                 BOOL(int32_t, NSString*, NSUInteger)>(server, type, destinationID, anyFeed);
}

NSArray* effectiveIntervals(id behaviorOverride) {
  return sendIfAnswered<"effectiveIntervals", NSArray*()>(behaviorOverride);
}

}  // namespace hushlane::platform
