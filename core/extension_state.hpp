// The values that the rules share, process-wide. Each is zero, false or absent when the library is
// loaded, lives as long as the host, and is exported under its own name.
//
// Written by one thread at a time: the settings by the settings load, the sender collections by it
// and by the address-book completion that it waits for, `isDNDActive` by whatever thread reports a
// change. Read on any thread, whole and without waiting. A collection is complete when it is
// published and never changes afterwards; one that does not exist yet reads as empty.
#pragma once

#include "platform/log.hpp"
#include "platform/published.hpp"

// Exported for others to find, not to replace: where the file format tells the two apart, saying so
// spares the library's own uses the way through the loader's table.
#if defined(__ELF__)
#define HUSHLANE_EXPORT __attribute__((visibility("protected")))
#else
#define HUSHLANE_EXPORT __attribute__((visibility("default")))
#endif

namespace hushlane {

extern "C" {

// Which senders' messages get through: one of the values below, or the record ID of one
// address-book group. Every other value lets nobody through.
HUSHLANE_EXPORT extern platform::Cell<int64_t> allowedMessageGroup;

// How many trailing digits of a phone number are compared.
HUSHLANE_EXPORT extern platform::Cell<int64_t> maxNumOfDigitsToCompare;

HUSHLANE_EXPORT extern platform::Cell<bool> enableDebugLogging;
HUSHLANE_EXPORT extern platform::Cell<bool> isDNDActive;

// The members of the chosen group: NSNumber record IDs, NSString digits, NSString addresses.
HUSHLANE_EXPORT extern platform::Published<NSArray> privilegedMessageSenderIDs;
HUSHLANE_EXPORT extern platform::Published<NSArray> privilegedMessageSenderPhones;
HUSHLANE_EXPORT extern platform::Published<NSArray> privilegedMessageSenderEmails;

// NSNumber weekdays, 1 to 7 as the user's calendar counts, ascending.
HUSHLANE_EXPORT extern platform::Published<NSArray> daysForSuppressingScheduler;

HUSHLANE_EXPORT extern platform::Published<NSDate> ctorTime;
HUSHLANE_EXPORT extern platform::Published<NSDate> manualDNDEnabledTime;

}  // extern "C"

inline constexpr int64_t allowedMessageGroupEveryone = -100;
inline constexpr int64_t allowedMessageGroupNobody = -200;
inline constexpr int64_t allowedMessageGroupFavorites = -300;
inline constexpr int64_t allowedMessageGroupAllContacts = -400;

// Any greater value too is the record ID of a group.
inline constexpr int64_t firstGroupRecordID = 1;

// Writes a line that only matters to somebody who is looking for a fault. The setting is read
// afresh for each line. While it is off nothing else is done: values that are themselves read
// afresh are passed as their cells.
template <platform::Text format, class... Args>
void debugLog(const Args&... args) {
  if (enableDebugLogging.load()) [[unlikely]] {
    platform::log<format>(args...);
  }
}

}  // namespace hushlane
