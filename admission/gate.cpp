#include "admission/gate.hpp"

#include "core/extension_state.hpp"
#include "platform/bulletin_board.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

constinit platform::Original<BOOL(BBServer*, int32_t, NSString*)> originalShouldPresentNotification;

namespace {

constexpr int32_t notificationTypeMessage = 1;
constexpr double firstFoundationWithFeeds = 1300.0;

// The location is 0 in an absent ID, and in any ID where "@" can't be made: without a way to tell,
// nobody gets through by the digits of an address.
bool isEmailAddress(NSString* destinationID) {
  return platform::locationOfString(destinationID, platform::constantString<"@">()) != NSNotFound;
}

bool senderIsGroupMember(NSString* destinationID) {
  if (isEmailAddress(destinationID)) {
    const auto emails = state::privilegedMessageSenderEmails.read();
    const bool found = platform::containsObject(emails.get(), destinationID);
    if (found) debugLog<"HL: found sender ID in privileged senders emails">();
    return found;
  }
  const bool found = phoneNumberBelongsToPrivilegedPerson(destinationID);
  if (found) debugLog<"HL: found sender ID in privileged senders phones">();
  return found;
}

bool senderIsAllowed(BBServer* server, NSString* destinationID) {
  const int64_t allowed = state::allowedMessageGroup.load();
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

}  // namespace

BOOL shouldPresentNotificationHook(BBServer* server, SEL selector, int32_t type,
                                   NSString* destinationID) {
  const bool platformAnswer =
      originalShouldPresentNotification(server, selector, type, destinationID);
  debugLog<"HL: default should present this notification: %@, notification type: %d">(
      platformAnswer, type);
  if (NSFoundationVersionNumber >= firstFoundationWithFeeds) {
    platform::askWhetherToPresentInFeed(server, type, destinationID);
  }
  if (type != notificationTypeMessage) {
    debugLog<"HL: notification is not a message, returning orig">();
    return platformAnswer;
  }
  debugLog<"HL: DnD active:%@, privilegedGroupID=%d">(state::isDNDActive,
                                                      state::allowedMessageGroup);
  bool present = platformAnswer;
  if (!present && state::isDNDActive.load()) present = senderIsAllowed(server, destinationID);
  debugLog<"HL: presenting contact?, returning: %@">(present);
  return present;
}

}  // namespace hushlane
