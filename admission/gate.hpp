// The message admission gate: the replacement of the bulletin server's decision whether to present
// a notification.
//
// The platform's own answer stands, with one exception: a message that it holds back while Do Not
// Disturb is active is presented after all when its sender belongs to those whom the user chose.
// Never the other way round. On whatever thread the host calls, without waiting and without state;
// each shared value is read when the rule comes to it.
//
// A host whose Foundation version is 1300.0 or higher is asked the same question with a feed as
// well, when its server answers to it; that answer is ignored. A server that lacks the favourites
// or address-book look-up finds nobody.
#pragma once

#include "platform/substrate.hpp"

namespace hushlane {

extern constinit platform::Original<BOOL(BBServer*, int32_t, NSString*)>
    originalShouldPresentNotification;

// `destinationID` is the sender's phone number or e-mail address as the host spells it, or null.
BOOL shouldPresentNotificationHook(BBServer* server, SEL selector, int32_t type,
                                   NSString* destinationID);

}  // namespace hushlane
