/*
 * The choices of whose messages get through, for the page of the Settings app: what is stored for
 * each, and what people read. Everyone, nobody, favourites and all contacts; then each group of the
 * address book by name; last, when it is none of these, what is stored.
 *
 * Called on the main thread. Both lists are of the latest reading and of the same length.
 */
#ifndef HUSHLANE_GROUP_CHOICE_H
#define HUSHLANE_GROUP_CHOICE_H

#include "hushlane/hushlane.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads the address book and what is stored. Waits at most two seconds for the address book; where
 * it does not answer, or may not be read, there are no groups to choose. */
void hlReadGroups(void);

/* NSArray of NSNumber, but for a stored object that is no number. Good until the next reading. */
HushlaneObject hlGroupValues(void);
/* NSArray of NSString. */
HushlaneObject hlGroupTitles(void);

#ifdef __cplusplus
}
#endif

#endif
