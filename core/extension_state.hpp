// The values that the rules share, process-wide: how the rules reach the variables that
// `hushlane/hushlane.h` declares and explains. Each is zero, false or absent when the library is
// loaded, and lives as long as the host.
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
#pragma GCC visibility push(protected)
#else
#pragma GCC visibility push(default)
#endif
#include "hushlane/hushlane.h"
#pragma GCC visibility pop

namespace hushlane {

namespace state {

// One of the values that the header names, or the record ID of an address-book group.
inline constexpr platform::Cell allowedMessageGroup(::allowedMessageGroup);
inline constexpr platform::Cell maxNumOfDigitsToCompare(::maxNumOfDigitsToCompare);
inline constexpr platform::Cell enableDebugLogging(::enableDebugLogging);
inline constexpr platform::Cell isDNDActive(::isDNDActive);

// NSNumber record IDs, NSString digits and NSString addresses of the chosen group's members.
inline constinit platform::Published<NSArray> privilegedMessageSenderIDs(
    ::privilegedMessageSenderIDs);
inline constinit platform::Published<NSArray> privilegedMessageSenderPhones(
    ::privilegedMessageSenderPhones);
inline constinit platform::Published<NSArray> privilegedMessageSenderEmails(
    ::privilegedMessageSenderEmails);

// NSNumber weekdays, ascending.
inline constinit platform::Published<NSArray> daysForSuppressingScheduler(
    ::daysForSuppressingScheduler);

inline constinit platform::Published<NSDate> ctorTime(::ctorTime);
inline constinit platform::Published<NSDate> manualDNDEnabledTime(::manualDNDEnabledTime);

}  // namespace state

inline constexpr int64_t allowedMessageGroupEveryone = HushlaneAllowedMessageGroupEveryone;
inline constexpr int64_t allowedMessageGroupNobody = HushlaneAllowedMessageGroupNobody;
inline constexpr int64_t allowedMessageGroupFavorites = HushlaneAllowedMessageGroupFavorites;
inline constexpr int64_t allowedMessageGroupAllContacts = HushlaneAllowedMessageGroupAllContacts;

// Any greater value too is the record ID of a group.
inline constexpr int64_t firstGroupRecordID = 1;

// Writes a line that only matters to somebody who is looking for a fault. The setting is read
// afresh for each line. While it is off nothing else is done: values that are themselves read
// afresh are passed as their cells.
template <platform::Text format, class... Args>
void debugLog(const Args&... args) {
  if (state::enableDebugLogging.load()) [[unlikely]] {
    platform::log<format>(args...);
  }
}

}  // namespace hushlane
