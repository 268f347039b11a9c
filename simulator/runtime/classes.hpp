// The one place that knows every class of the simulated phone. Each function defines the classes
// of one source file; they run once, all together, at the first use of the runtime.
#pragma once

namespace simulator {

// Any thread; returns when all classes are defined.
void ensureClassesDefined();

void defineObject();
void defineStrings();
void defineCharacterSet();
void defineNumber();
void defineData();
void defineDates();
void defineCollections();
void defineAddressBook();
void defineKeyedArchive();
void defineDispatch();
void defineBulletinBoard();
void defineNotificationCenter();

}  // namespace simulator
