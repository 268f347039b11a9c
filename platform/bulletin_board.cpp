#include "platform/bulletin_board.hpp"

namespace hushlane::platform {

bool addressBookContains(id server, NSString* destinationID) {
  const SEL question = selector<"_doesAddressBookContainDestinationID:">();
  return respondsTo(server, question) && send<BOOL>(server, question, destinationID);
}

bool favoritesListContains(id server, NSString* destinationID) {
  const SEL question = selector<"_doesFavoritesListContainDestinationID:">();
  return respondsTo(server, question) && send<BOOL>(server, question, destinationID);
}

void askWhetherToPresentInFeed(id server, int32_t type, NSString* destinationID) {
  constexpr NSUInteger anyFeed = 0;
  const SEL question =
      selector<"shouldPresentNotificationOfType:fromSenderWithDestinationID:inFeed:">();
  if (respondsTo(server, question)) {
    send<BOOL>(server, question, type, destinationID, anyFeed);
  }
}

NSArray* effectiveIntervals(id behaviorOverride) {
  const SEL question = selector<"effectiveIntervals">();
  return respondsTo(behaviorOverride, question) ? send<NSArray*>(behaviorOverride, question)
                                                : nullptr;
}

}  // namespace hushlane::platform
