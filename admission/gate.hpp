// The message admission gate: the replacement of the bulletin server's decision whether to present
// a notification.
//
// The platform's own answer stands, with one exception: a message that it holds back while Do Not
// Disturb is active is presented after all when its sender belongs to those whom the user chose.
// Never the other way round. On whatever thread the host calls, without waiting and without state;
// each shared value is read when the rule comes to it.
//
// A host from Foundation 1300.0 on is asked the same question with a feed as well, when its server
// answers to it; that answer is ignored. A server that lacks the favourites or address-book look-up
// finds nobody.
#pragma once

#include "platform/abi.hpp"

namespace hushlane {

extern IMP originalShouldPresentNotification;

// `destinationID` is the sender's phone number or e-mail address as the host spells it, or null.
using DecisionHook = BOOL (*)(id server, SEL selector, int32_t type, NSString* destinationID);

// The replacement for this host: with or without the question about a feed.
DecisionHook shouldPresentNotificationHookForHost();

}  // namespace hushlane
