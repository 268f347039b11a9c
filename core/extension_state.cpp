#include "core/extension_state.hpp"

namespace hushlane {

constinit platform::Cell<int64_t> allowedMessageGroup;
constinit platform::Cell<int64_t> maxNumOfDigitsToCompare;
constinit platform::Cell<bool> enableDebugLogging;
constinit platform::Cell<bool> isDNDActive;
constinit platform::Published<NSArray> privilegedMessageSenderIDs;
constinit platform::Published<NSArray> privilegedMessageSenderPhones;
constinit platform::Published<NSArray> privilegedMessageSenderEmails;
constinit platform::Published<NSArray> daysForSuppressingScheduler;
constinit platform::Published<NSDate> ctorTime;
constinit platform::Published<NSDate> manualDNDEnabledTime;

// Code outside the library knows these values only by name and plain layout.
static_assert(sizeof(enableDebugLogging) == 1 && sizeof(isDNDActive) == 1);
static_assert(sizeof(allowedMessageGroup) == 8 && sizeof(maxNumOfDigitsToCompare) == 8);

}  // namespace hushlane
