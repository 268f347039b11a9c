// Reads the behaviour overrides that the platform keeps on disk, for code outside the library.
#pragma once

#include "core/extension_state.hpp"

namespace hushlane {

// The first effective interval of the first override in the platform's file, read afresh, or null
// when that override has none. Null as well when the file is missing or unreadable, has no list
// "overrides", or has a first element there that is not the archive of an override. The interval is
// the platform's own object, autoreleased. What the platform raises, as it does for a damaged
// archive, passes through with everything released. Any thread.
extern "C" HUSHLANE_EXPORT id getBBBehaviorOverrideEffectiveInterval();

}  // namespace hushlane
