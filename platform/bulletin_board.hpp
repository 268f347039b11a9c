// The questions that the library puts to BulletinBoard, a private framework whose methods may come
// and go with the system: each is asked only of an object that answers to it. Any thread.
#pragma once

#include "platform/abi.hpp"

namespace hushlane::platform {

// False on a server that has no such list to ask.
bool addressBookContains(BBServer* server, NSString* destinationID);
bool favoritesListContains(BBServer* server, NSString* destinationID);

// The same question as the replaced decision, with a feed. Hosts from Foundation 1300.0 on put it
// to their server; its answer is not used.
void askWhetherToPresentInFeed(BBServer* server, int32_t type, NSString* destinationID);

// Null for an object that is no override.
NSArray* effectiveIntervals(id behaviorOverride);

}  // namespace hushlane::platform
