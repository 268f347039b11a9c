// Every operation beneath the seam that can fail or answer "none", as one table, and the means to
// make each fail on command. The library has no part in it.
//
// Each row counts its calls. A row can be told to fail at its k-th call from now, once or from
// then on. Any thread may call an operation; arming is for the thread that drives the device, while
// nothing runs.
//
// The second part of the table fails where the library looks a method up, whichever object is
// asked. Messages are many, so these rows count nothing until one of them is armed or acted on, and
// the simulator's own messages never fail.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace simulator {

// name: the operation as the platform calls it; what the failure gives.
#define SIMULATOR_FAULTS(FAULT)                                                                    \
  FAULT(objc_getClass, "objc_getClass", "no such class")                                           \
  FAULT(MSHookMessageEx, "MSHookMessageEx", "no such method: nothing installed, slot empty")       \
  FAULT(CFPreferencesCopyKeyList, "CFPreferencesCopyKeyList", "no key list")                       \
  FAULT(CFPreferencesCopyMultiple, "CFPreferencesCopyMultiple", "no values")                       \
  FAULT(ABAddressBookCreateWithOptions, "ABAddressBookCreateWithOptions", "no address book")       \
  FAULT(ABAddressBookRequestAccessWithCompletion, "ABAddressBookRequestAccessWithCompletion",      \
        "access denied")                                                                           \
  FAULT(ABAddressBookGetGroupWithRecordID, "ABAddressBookGetGroupWithRecordID", "no group")        \
  FAULT(ABAddressBookCopyArrayOfAllGroups, "ABAddressBookCopyArrayOfAllGroups", "no group list")   \
  FAULT(ABGroupCopyArrayOfAllMembers, "ABGroupCopyArrayOfAllMembers", "no member list")            \
  FAULT(ABRecordCopyValue, "ABRecordCopyValue", "no multi-value")                                  \
  FAULT(ABRecordCopyCompositeName, "ABRecordCopyCompositeName", "no name")                         \
  FAULT(ABMultiValueGetCount, "ABMultiValueGetCount", "a count of zero")                           \
  FAULT(ABMultiValueCopyValueAtIndex, "ABMultiValueCopyValueAtIndex", "no value")                  \
  FAULT(ABMultiValueCopyArrayOfAllValues, "ABMultiValueCopyArrayOfAllValues", "no list of values") \
  FAULT(dispatch_semaphore_create, "dispatch_semaphore_create", "no semaphore")                    \
  FAULT(currentCalendar, "+[NSCalendar currentCalendar]", "no calendar")                           \
  FAULT(initWithContentsOfFile, "-[NSDictionary initWithContentsOfFile:]", "no dictionary")        \
  FAULT(unarchiveObjectWithData, "+[NSKeyedUnarchiver unarchiveObjectWithData:]",                  \
        "raises NSInvalidUnarchiveOperationException")                                             \
  FAULT(effectiveIntervals, "-[BBBehaviorOverride effectiveIntervals]", "no interval list")

// name: the selector; what the failure gives.
#define SIMULATOR_MESSAGE_FAULTS(FAULT)                                                      \
  FAULT(respondsToSelector, "respondsToSelector:", "no such method")                         \
  FAULT(alloc, "alloc", "no object")                                                         \
  FAULT(init, "init", "no object, and the allocated one is freed")                           \
  FAULT(initWithUTF8String, "initWithUTF8String:", "no string")                              \
  FAULT(stringWithFormat, "stringWithFormat:", "no string")                                  \
  FAULT(substringFromIndex, "substringFromIndex:", "no string")                              \
  FAULT(characterSetWithCharactersInString, "characterSetWithCharactersInString:", "no set") \
  FAULT(invertedSet, "invertedSet", "no set")                                                \
  FAULT(componentsSeparatedByCharactersInSet,                                                \
        "componentsSeparatedByCharactersInSet:", "no pieces")                                \
  FAULT(componentsJoinedByString, "componentsJoinedByString:", "no string")                  \
  FAULT(numberWithInt, "numberWithInt:", "no number")                                        \
  FAULT(objectForKey, "objectForKey:", "no entry")                                           \
  FAULT(componentsFromDate, "components:fromDate:", "no components")                         \
  FAULT(unarchivesNothing, "unarchiveObjectWithData:", "no object")

enum class Fault : std::uint8_t {
#define SIMULATOR_FAULT_NAME(name, operation, gives) name,
  SIMULATOR_FAULTS(SIMULATOR_FAULT_NAME) SIMULATOR_MESSAGE_FAULTS(SIMULATOR_FAULT_NAME)
#undef SIMULATOR_FAULT_NAME
};

struct FaultRow {
  Fault fault;
  std::string_view operation;
  std::string_view gives;
};
std::span<const FaultRow> faultTable();

// For the operation itself: counts the call, records it in the call trace, and says whether it must
// fail. `about` is what the trace says besides the operation's name.
bool failsNow(Fault fault, std::string_view about = {}) noexcept;

// For the look-up of a method: whether rows of messages count, and the row of a selector.
inline std::atomic<bool> messagesMayFail{false};
std::optional<Fault> messageFault(std::string_view selector) noexcept;

// From now on the k-th call (1 is the next) fails: only that one, or it and every later one.
void failAt(Fault fault, std::uint64_t call, bool fromThenOn = false);

// Calls `action` on the calling thread, just before the next call of the operation does anything.
void callBefore(Fault fault, std::function<void()> action);

std::uint64_t injectedFailures();

// Disarms every row, forgets every action, and sets all counts to zero.
void resetFaults();

}  // namespace simulator
