// The methods of the host that the library replaces.
#pragma once

namespace hushlane {

// Installs the table in its order, and looks each class up once. An entry whose class or method
// the host lacks is left out; the others are installed all the same. To be called once.
void installHookTable();

}  // namespace hushlane
