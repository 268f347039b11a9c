// What the fuzz targets share.
//
// A target defines `LLVMFuzzerTestOneInput`: it hands the bytes to what it tests, and stops the
// process when a promise is broken, as a crash would. In the build made for it libFuzzer makes up
// the bytes; in every other build replay.cpp hands over the inputs that were kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "simulator/device.hpp"
#include "simulator/loader/loaded_library.hpp"
#include "simulator/runtime/object.hpp"
#include "tests/support/scratch_folder.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

inline void require(bool holds, const std::string& promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise.c_str());
  std::abort();
}

// Holds that every object that `body` makes is gone at the end.
template <class Body>
void leavingNothing(Body body) {
  const std::int64_t before = simulator::liveObjectCount();
  {
    const simulator::AutoreleasePool pool;
    body();
  }
  require(simulator::liveObjectCount() == before, "no object stays alive");
}

// Goes when the process ends as it should.
inline const tests::ScratchFolder scratchFolder;

// A phone with the library in it, until the process ends: what the library keeps for ever is no
// leak while it is mapped.
struct PhoneWithLibrary {
  static PhoneWithLibrary& the() {
    static auto& phone = *new PhoneWithLibrary;
    return phone;
  }

  simulator::Device device{scratchFolder.path};
  simulator::LoadedLibrary library{HUSHLANE_LIBRARY};
};

}  // namespace fuzz
