#include "admission/phone_number_matcher.hpp"

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

}  // namespace

bool phoneNumberBelongsToPrivilegedPerson(NSString* destinationID) {
  if (destinationID == nullptr) return false;
  const int64_t numOfDigits = maxNumOfDigitsToCompare.load();
  debugLog<"HL: comparing last %d digits of phone number">(static_cast<int32_t>(numOfDigits));
  NSString* const tail = tailOf(destinationID, numOfDigits);
  const auto phones = privilegedMessageSenderPhones.read();
  platform::HasSuffix endsWithTail(tail);
  for (NSString* const phone : platform::Each<NSString>(phones.get())) {
    if (endsWithTail(phone)) {
      debugLog<"HL:\tfound privileged phone with destinationID suffix (%@): %@">(tail, phone);
      return true;
    }
  }
  debugLog<"HL:\tdid not find privileged phone with destinationID suffix (%@)">(tail);
  return false;
}

}  // namespace hushlane
