// Recognises a member of the chosen group by the trailing digits of a phone number: declared for
// everyone in hushlane/hushlane.h.

#include "core/extension_state.hpp"
#include "platform/foundation.hpp"

namespace hushlane {

namespace {

// Counted as an unsigned number, so that a negative one exceeds every length.
NSString* tailOf(NSString* destinationID, int64_t numOfDigits) {
  const uint64_t wanted = static_cast<uint64_t>(numOfDigits);
  const NSUInteger length = platform::length(destinationID);
  if (length < wanted) return destinationID;
  return platform::substringFromIndex(destinationID, length - static_cast<NSUInteger>(wanted));
}

bool isEndOfPrivilegedPhone(NSString* tail) {
  const auto phones = state::privilegedMessageSenderPhones.read();
  for (NSString* const phone : platform::Each<NSString>(phones.get())) {
    if (platform::hasSuffix(phone, tail)) {
      debugLog<"HL:\tfound privileged phone with destinationID suffix (%@): %@">(tail, phone);
      return true;
    }
  }
  debugLog<"HL:\tdid not find privileged phone with destinationID suffix (%@)">(tail);
  return false;
}

}  // namespace

}  // namespace hushlane

extern "C" bool phoneNumberBelongsToPrivilegedPerson(id destinationID) {
  using namespace hushlane;
  if (destinationID == nullptr) return false;
  const int64_t numOfDigits = state::maxNumOfDigitsToCompare.load();
  debugLog<"HL: comparing last %d digits of phone number">(static_cast<int32_t>(numOfDigits));
  return isEndOfPrivilegedPhone(tailOf(static_cast<NSString*>(destinationID), numOfDigits));
}
