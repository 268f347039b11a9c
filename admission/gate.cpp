#include "admission/gate.hpp"

#include "admission/phone_number_matcher.hpp"
#include "core/extension_state.hpp"
#include "platform/bulletin_board.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

constinit IMP originalShouldPresentNotification = nullptr;

namespace {

constexpr int32_t notificationTypeMessage = 1;

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

// Kept out of line: only a message that is held back needs its registers.
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

// The rule, in the order in which it decides. It is inlined where the caller knows the type or the
// host, so that nothing is kept at hand for questions that can't come up there.
[[gnu::always_inline]] inline bool decide(id server, SEL selector, int32_t type,
                                          NSString* destinationID, bool hostHasFeeds) {
  const bool platformAnswer = platform::call<BOOL>(originalShouldPresentNotification, server,
                                                   selector, type, destinationID);
  debugLog<"HL: default should present this notification: %@, notification type: %d">(
      platformAnswer, type);
  if (hostHasFeeds) platform::askWhetherToPresentInFeed(server, type, destinationID);
  if (type != notificationTypeMessage) {
    debugLog<"HL: notification is not a message, returning orig">();
    return platformAnswer;
  }
  debugLog<"HL: DnD active:%@, privilegedGroupID=%d">(isDNDActive, allowedMessageGroup);
  bool present = platformAnswer;
  if (!platformAnswer && isDNDActive.load()) present = senderIsAllowed(server, destinationID);
  debugLog<"HL: presenting contact?, returning: %@">(present);
  return present;
}

[[gnu::noinline]] bool decideOnMessage(id server, SEL selector, NSString* destinationID) {
  return decide(server, selector, notificationTypeMessage, destinationID, false);
}

}  // namespace

BOOL shouldPresentNotificationHook(id server, SEL selector, int32_t type, NSString* destinationID) {
  if (type == notificationTypeMessage) return decideOnMessage(server, selector, destinationID);
  return decide(server, selector, type, destinationID, false);
}

BOOL shouldPresentNotificationOnHostWithFeedsHook(id server, SEL selector, int32_t type,
                                                  NSString* destinationID) {
  return decide(server, selector, type, destinationID, true);
}

}  // namespace hushlane
