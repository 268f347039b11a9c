#include "admission/gate.hpp"

#include "admission/phone_number_matcher.hpp"
#include "core/extension_state.hpp"
#include "platform/bulletin_board.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

constinit IMP originalShouldPresentNotification = nullptr;

namespace {

constexpr int32_t notificationTypeMessage = 1;
constexpr double firstFoundationWithFeeds = 1300.0;

// An absent ID counts as an address, and equals none.
bool isEmailAddress(NSString* destinationID) {
  return destinationID == nullptr ||
         platform::locationOfString(destinationID, platform::constantString<"@">()) != NSNotFound;
}

bool senderIsGroupMember(NSString* destinationID) {
  if (isEmailAddress(destinationID)) {
    const auto emails = privilegedMessageSenderEmails.read();
    const bool found = platform::containsObject(emails.get(), destinationID);
    if (found) debugLog<"HL: found sender ID in privileged senders emails">();
    return found;
  }
  const bool found = phoneNumberBelongsToPrivilegedPerson(destinationID);
  if (found) debugLog<"HL: found sender ID in privileged senders phones">();
  return found;
}

// Apart from the decision, so that the far more frequent ones are not slowed by what it needs.
[[gnu::noinline]] bool senderIsAllowed(id server, NSString* destinationID) {
  const int64_t allowed = allowedMessageGroup.load();
  switch (allowed) {
    case allowedMessageGroupAllContacts:
      return platform::addressBookContains(server, destinationID);
    case allowedMessageGroupFavorites:
      return platform::favoritesListContains(server, destinationID);
    case allowedMessageGroupNobody:
      return false;
    case allowedMessageGroupEveryone:
      debugLog<"HL: playing notifications from everyone...">();
      return true;
    default:
      return allowed >= firstGroupRecordID && senderIsGroupMember(destinationID);
  }
}

template <bool hostHasFeeds>
bool askPlatform(id server, SEL selector, int32_t type, NSString* destinationID) {
  const bool platformAnswer = platform::call<BOOL>(originalShouldPresentNotification, server,
                                                   selector, type, destinationID);
  debugLog<"HL: default should present this notification: %@, notification type: %d">(
      platformAnswer, type);
  if (hostHasFeeds) platform::askWhetherToPresentInFeed(server, type, destinationID);
  return platformAnswer;
}

template <bool hostHasFeeds>
[[gnu::noinline]] bool shouldPresentMessage(id server, SEL selector, NSString* destinationID) {
  const bool platformAnswer =
      askPlatform<hostHasFeeds>(server, selector, notificationTypeMessage, destinationID);
  debugLog<"HL: DnD active:%@, privilegedGroupID=%d">(isDNDActive, allowedMessageGroup);
  bool present = platformAnswer;
  if (!platformAnswer && isDNDActive.load()) present = senderIsAllowed(server, destinationID);
  debugLog<"HL: presenting contact?, returning: %@">(present);
  return present;
}

template <bool hostHasFeeds>
BOOL shouldPresentNotificationHook(id server, SEL selector, int32_t type, NSString* destinationID) {
  if (type == notificationTypeMessage) {
    return shouldPresentMessage<hostHasFeeds>(server, selector, destinationID);
  }
  const bool platformAnswer = askPlatform<hostHasFeeds>(server, selector, type, destinationID);
  debugLog<"HL: notification is not a message, returning orig">();
  return platformAnswer;
}

}  // namespace

DecisionHook shouldPresentNotificationHookForHost() {
  return NSFoundationVersionNumber >= firstFoundationWithFeeds
             ? shouldPresentNotificationHook<true>
             : shouldPresentNotificationHook<false>;
}

}  // namespace hushlane
