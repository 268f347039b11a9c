// The values that the library exports, as lines for people. Reads them as any code outside the
// library would: by name, in their plain layout.
//
// To be called while no settings load runs.
#pragma once

#include "home_screen/notation.hpp"
#include "simulator/clock.hpp"
#include "simulator/loader.hpp"

namespace home_screen {

// "name=value" for each: collections as JSON arrays, dates in the phone's local time, "absent"
// where there is no object. Throws std::runtime_error when the library lacks a name.
Lines describeState(const simulator::LoadedLibrary& library, const simulator::Clock& clock);

}  // namespace home_screen
