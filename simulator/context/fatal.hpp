// Stops the process after a message on standard error: for mistakes that no test may survive.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace simulator {

[[noreturn]] inline void fatal(const std::string& what) {
  std::fprintf(stderr, "fatal: %s\n", what.c_str());
  std::abort();
}

}  // namespace simulator
