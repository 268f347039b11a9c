/*
 * What the library exports, for code in the same process that looks the names up (dlsym).
 *
 * C and C++. Objects are the platform's own, `id` in Objective-C. The library writes the values.
 * Code outside may read numbers and flags on any thread, and may set `enableDebugLogging`. It may
 * read an object on the main thread, and must retain it to keep it beyond the return to the main
 * run loop, where settings loads and notifications replace it.
 */
#ifndef HUSHLANE_HUSHLANE_H
#define HUSHLANE_HUSHLANE_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct objc_object;

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
extern struct objc_object* privilegedMessageSenderIDs;
extern struct objc_object* privilegedMessageSenderPhones;
extern struct objc_object* privilegedMessageSenderEmails;

/* Weekdays without the scheduled Do Not Disturb (NSArray of NSNumber): 1 to 7 as the user's
 * calendar numbers them, in the Gregorian one from Sunday. */
extern struct objc_object* daysForSuppressingScheduler;

/* When the library was started, and when Do Not Disturb was last switched on by hand (NSDate). */
extern struct objc_object* ctorTime;
extern struct objc_object* manualDNDEnabledTime;

/* Every address-book group: an autoreleased NSArray of NSDictionary with "name" (NSString) and "id"
 * (NSNumber). Blocks until the address book has answered. */
struct objc_object* loadABGroups(void);

/* Does the tail of this NSString match a phone number of the chosen group's members? */
bool phoneNumberBelongsToPrivilegedPerson(struct objc_object* destinationID);

/* Is the scheduled Do Not Disturb suppressed on the weekday so many days (0 to 7) after today? */
bool shouldSchedulerBeSuppressed(long daysFromToday);

/* The first effective interval of the first behaviour override that the platform has stored,
 * autoreleased, or null. Raises what the platform raises for a damaged archive. */
struct objc_object* getBBBehaviorOverrideEffectiveInterval(void);

#ifdef __cplusplus
}
#endif

#endif
