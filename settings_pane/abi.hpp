// What the settings pane's C++ takes from the phone beside what the library does.
#pragma once

#include "platform/abi.hpp"

inline constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;

extern "C" {

// The moment so long after another one.
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t nanoseconds) noexcept;

}  // extern "C"
