#include "core/extension_state.hpp"

// As the public header declares them: another type there does not compile. The two wide ones are
// aligned so that each is read and written whole where words have 32 bits, too.
alignas(8) int64_t allowedMessageGroup = 0;
alignas(8) int64_t maxNumOfDigitsToCompare = 0;
bool enableDebugLogging = false;
bool isDNDActive = false;
id privilegedMessageSenderIDs = nullptr;
id privilegedMessageSenderPhones = nullptr;
id privilegedMessageSenderEmails = nullptr;
id daysForSuppressingScheduler = nullptr;
id ctorTime = nullptr;
id manualDNDEnabledTime = nullptr;

// So are the functions, where they are defined, and so is what outside code calls them by.
static_assert(__is_same(HushlaneLoadABGroups, decltype(&loadABGroups)));
static_assert(__is_same(HushlanePhoneNumberBelongsToPrivilegedPerson,
                        decltype(&phoneNumberBelongsToPrivilegedPerson)));
static_assert(__is_same(HushlaneShouldSchedulerBeSuppressed,
                        decltype(&shouldSchedulerBeSuppressed)));
static_assert(__is_same(HushlaneGetBBBehaviorOverrideEffectiveInterval,
                        decltype(&getBBBehaviorOverrideEffectiveInterval)));
