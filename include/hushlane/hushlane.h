/*
 * What the library exports, for code in the same process that looks the names up (dlsym).
 *
 * C, C++ and Objective-C. Objects are the platform's own. The library writes the values. Code
 * outside may read numbers and flags on any thread, and may set `enableDebugLogging` by a plain
 * assignment. It may read an object on the main thread, and must retain it to keep it beyond the
 * return to the main run loop, where settings loads and notifications replace it.
 *
 * A plain read gives a whole value, with one exception: where words have 32 bits, a 64-bit value is
 * read in two halves, which may be of two values while settings load. The low half, `(int32_t)`, is
 * whole there and says it all, since both integers always lie within 32 bits.
 */
#ifndef HUSHLANE_HUSHLANE_H
#define HUSHLANE_HUSHLANE_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Any object. */
#ifdef __OBJC__
typedef id HushlaneObject;
#else
typedef struct objc_object* HushlaneObject;
#endif

/* Which senders' messages get through while Do Not Disturb is on: one of these values, or the
 * record ID (1 or more) of one address-book group. Every other value lets nobody through. */
enum {
  HushlaneAllowedMessageGroupEveryone = -100,
  HushlaneAllowedMessageGroupNobody = -200,
  HushlaneAllowedMessageGroupFavorites = -300,
  HushlaneAllowedMessageGroupAllContacts = -400
};
extern int64_t allowedMessageGroup;

/* How many trailing digits of a phone number are compared. */
extern int64_t maxNumOfDigitsToCompare;

/* Writes most log lines; every settings load switches it off. */
extern bool enableDebugLogging;

/* Is any behaviour override active, as the settings gateway last reported? */
extern bool isDNDActive;

/* Members of the chosen group (NSArray): NSNumber record IDs, NSString digits, NSString addresses.
 * Null before the first complete settings load, as is the next one. */
extern HushlaneObject privilegedMessageSenderIDs;
extern HushlaneObject privilegedMessageSenderPhones;
extern HushlaneObject privilegedMessageSenderEmails;

/* Weekdays without the scheduled Do Not Disturb (NSArray of NSNumber): 1 to 7 as the user's
 * calendar numbers them, in the Gregorian one from Sunday. */
extern HushlaneObject daysForSuppressingScheduler;

/* When the library was started, and when Do Not Disturb was last switched on by hand (NSDate). */
extern HushlaneObject ctorTime;
extern HushlaneObject manualDNDEnabledTime;

/* Every address-book group: a new, autoreleased NSArray of NSDictionary with "name" (NSString,
 * empty for a group without one) and "id" (NSNumber), in the platform's order. Empty when the
 * address book can't be read, null only on a host without arrays. Any thread, which it blocks until
 * the address book has answered. */
HushlaneObject loadABGroups(void);

/* Does a phone number of the chosen group's members end with the tail of this NSString: its last
 * `maxNumOfDigitsToCompare` characters, or all of it when it is shorter or the setting is negative?
 * It is compared as it is spelled, so a tail that holds anything but digits matches nobody; nor
 * does an empty one. False for null, without a line in the log. Any thread; does not wait. */
bool phoneNumberBelongsToPrivilegedPerson(HushlaneObject destinationID);

/* Is the scheduled Do Not Disturb suppressed on the weekday so many days after today? Meant for 0
 * to 7: where today's weekday and the argument add up to less than 1 or more than 14, that is no
 * weekday, and the answer is false. The sum saturates at the limits of a 32-bit integer. Any
 * thread. */
bool shouldSchedulerBeSuppressed(long daysFromToday);

/* The first effective interval of the first behaviour override in the platform's file, read afresh:
 * the platform's own object, autoreleased. Null when that override has none, when the file can't be
 * read, or when its first entry is no override. Raises what the platform raises, as it does for a
 * damaged archive. Any thread. */
HushlaneObject getBBBehaviorOverrideEffectiveInterval(void);

/* The functions' types, for what dlsym gives. */
typedef HushlaneObject (*HushlaneLoadABGroups)(void);
typedef bool (*HushlanePhoneNumberBelongsToPrivilegedPerson)(HushlaneObject destinationID);
typedef bool (*HushlaneShouldSchedulerBeSuppressed)(long daysFromToday);
typedef HushlaneObject (*HushlaneGetBBBehaviorOverrideEffectiveInterval)(void);

#ifdef __cplusplus
}
#endif

#endif
