/* The public header stands alone in plain C, and has the values that outside code is built with. */

#include "hushlane/hushlane.h"

typedef char ValuesAreAsPublished[HushlaneAllowedMessageGroupEveryone == -100 &&
                                          HushlaneAllowedMessageGroupNobody == -200 &&
                                          HushlaneAllowedMessageGroupFavorites == -300 &&
                                          HushlaneAllowedMessageGroupAllContacts == -400
                                      ? 1
                                      : -1];
